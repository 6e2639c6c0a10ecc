#include "support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstring>
#include <stdexcept>

namespace test {
namespace {

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

Pipe makePipe(Streams kind = Streams::pipes) {
    std::array<int, 2> ends{};
    if (kind == Streams::sockets ? socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data())
                                 : pipe2(ends.data(), O_CLOEXEC))
        throw std::runtime_error("no pipe");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::vector<std::string> environmentWith(const std::vector<Variable>& variables) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry; ++entry) {
        const std::string_view text(*entry);
        const auto name = text.substr(0, text.find('='));
        if (std::ranges::find(variables, name, &Variable::name) == variables.end())
            result.emplace_back(text);
    }
    for (const auto& [name, value] : variables)
        if (value)
            result.push_back(name + "=" + *value);
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (auto& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

std::vector<std::uint8_t> readAll(int fd) {
    std::vector<std::uint8_t> all;
    std::array<std::uint8_t, 65536> chunk{};
    ssize_t count = 0;
    while ((count = read(fd, chunk.data(), chunk.size())) > 0)
        all.insert(all.end(), chunk.begin(), chunk.begin() + count);
    return all;
}

} // namespace

std::vector<std::string> joined(std::vector<std::string> words,
                                const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

Process::Process(const std::vector<std::string>& command, const std::vector<Variable>& variables,
                 bool collectErrors, Streams streams) {
    std::signal(SIGPIPE, SIG_IGN);
    auto in = makePipe(streams);
    auto out = makePipe(streams);
    auto err = makePipe();
    if (streams == Streams::nonBlockingPipes)
        for (const auto& end : {std::cref(in.reading), std::cref(out.writing)})
            fcntl(end.get().get(), F_SETFL, O_NONBLOCK);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.reading.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.writing.get(), STDOUT_FILENO);
    if (collectErrors)
        posix_spawn_file_actions_adddup2(&actions, err.writing.get(), STDERR_FILENO);
    // A child starts with the broken-pipe signal as the system sets it, not as the test does.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t standard;
    sigemptyset(&standard);
    sigaddset(&standard, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &standard);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    auto words = command;
    auto environment = environmentWith(variables);
    const int error = posix_spawnp(&pid, words.front().c_str(), &actions, &attributes,
                                   pointers(words).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        throw std::runtime_error(words.front() + ": " + std::strerror(error)); // NOLINT
    input = std::move(in.writing);
    output = std::move(out.reading);
    if (collectErrors)
        errors = std::move(err.reading);
}

Process::~Process() {
    if (status)
        return;
    signal(SIGKILL);
    wait();
}

void Process::write(std::string_view text) {
    while (!text.empty()) {
        const auto count = ::write(input.get(), text.data(), text.size());
        if (count < 0)
            return; // The child is gone; the test sees that where it looks for it.
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Process::closeInput() {
    if (shutdown(input.get(), SHUT_WR) != 0)
        input = {};
}

void Process::closeOutput() {
    if (shutdown(output.get(), SHUT_RD) != 0)
        output = {};
}

void Process::offer(std::string_view text) {
    constexpr int standstill = 500;
    pollfd waiting{input.get(), POLLOUT, 0};
    // A pipe with room has room for this much at least.
    while (!text.empty() && poll(&waiting, 1, standstill) > 0) {
        const auto piece = text.substr(0, PIPE_BUF);
        write(piece);
        text.remove_prefix(piece.size());
    }
}

bool Process::readSome(std::chrono::steady_clock::time_point deadline) {
    using namespace std::chrono;
    const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
    pollfd waiting{output.get(), POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left, 0))) <= 0)
        return false;
    std::array<std::uint8_t, 65536> chunk{};
    const auto count = read(output.get(), chunk.data(), chunk.size());
    if (count <= 0)
        return false;
    received.insert(received.end(), chunk.begin(), chunk.begin() + count);
    return true;
}

std::optional<Frame> Process::frame(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true) {
        if (auto frame = takeFrame(received))
            return frame;
        if (!readSome(deadline))
            return std::nullopt;
    }
}

std::optional<Frame> Process::frame(orvel::FrameType type, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true) {
        using namespace std::chrono;
        auto next = frame(duration_cast<milliseconds>(deadline - steady_clock::now()));
        if (!next || next->type == type)
            return next;
    }
}

std::vector<std::uint8_t> Process::chunk(std::chrono::milliseconds limit) {
    if (received.empty())
        readSome(std::chrono::steady_clock::now() + limit);
    return std::exchange(received, {});
}

std::string Process::firstLine(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::ranges::find(received, '\n') == received.end())
        if (!readSome(deadline))
            return {};
    const auto end = std::ranges::find(received, '\n');
    std::string line(received.begin(), end);
    received.erase(received.begin(), end + 1);
    return line;
}

std::vector<std::uint8_t> Process::rest() {
    auto all = std::exchange(received, {});
    const auto more = readAll(output.get());
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

std::string Process::restText() {
    const auto bytes = rest();
    return {bytes.begin(), bytes.end()};
}

std::string Process::errorText() {
    const auto bytes = readAll(errors.get());
    return {bytes.begin(), bytes.end()};
}

void Process::signal(int number) const {
    kill(pid, number);
}

std::optional<int> Process::wait(std::chrono::milliseconds limit) {
    if (status)
        return status;
    eventually(
        [&] {
            int raw = 0;
            if (wait4(pid, &raw, WNOHANG, &usage) != pid)
                return false;
            status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            return true;
        },
        limit);
    return status;
}

} // namespace test
