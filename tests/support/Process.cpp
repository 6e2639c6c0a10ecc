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

/// Appends what can be read before the deadline; false at the end, or if that is nothing.
bool readSome(const Descriptor& source, std::chrono::steady_clock::time_point deadline,
              std::vector<std::uint8_t>& target) {
    using namespace std::chrono;
    const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
    pollfd waiting{source.get(), POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left, 0))) <= 0)
        return false;
    std::array<std::uint8_t, 65536> chunk{};
    const auto count = read(source.get(), chunk.data(), chunk.size());
    target.insert(target.end(), chunk.begin(), chunk.begin() + std::max<ssize_t>(count, 0));
    return count > 0;
}

std::vector<std::uint8_t> readAll(const Descriptor& source, std::vector<std::uint8_t> all = {}) {
    while (readSome(source, std::chrono::steady_clock::now() + std::chrono::hours(24), all)) {
    }
    return all;
}

std::string textOf(const std::vector<std::uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

} // namespace

std::vector<std::string> joined(std::vector<std::string> words,
                                const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

Process::Process(const std::vector<std::string>& command, const std::vector<Variable>& variables,
                 bool collectErrors, Streams streams) {
    std::signal(SIGPIPE, [](int) {}); // Ignored, children would inherit that.
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
    auto words = command;
    auto environment = environmentWith(variables);
    const int error = posix_spawnp(&pid, words.front().c_str(), &actions, nullptr,
                                   pointers(words).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
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

template<class Take>
auto Process::await(std::chrono::milliseconds limit, Take take) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true)
        if (auto taken = take(); taken || !readSome(output, deadline, received))
            return taken;
}

std::optional<Frame> Process::frame(std::chrono::milliseconds limit) {
    return await(limit, [&] { return takeFrame(received); });
}

std::optional<Frame> Process::frame(orvel::FrameType type, std::chrono::milliseconds limit) {
    return await(limit, [&]() -> std::optional<Frame> {
        while (auto next = takeFrame(received))
            if (next->type == type)
                return next;
        return std::nullopt;
    });
}

std::vector<std::uint8_t> Process::chunk(std::chrono::milliseconds limit) {
    await(limit, [&] { return !received.empty(); });
    return std::exchange(received, {});
}

std::string Process::firstLine(std::chrono::milliseconds limit) {
    const auto end = [&] { return std::ranges::find(received, '\n'); };
    if (!await(limit, [&] { return end() != received.end(); }))
        return {};
    std::string line(received.begin(), end());
    received.erase(received.begin(), end() + 1);
    return line;
}

std::vector<std::uint8_t> Process::rest() {
    return readAll(output, std::exchange(received, {}));
}

std::string Process::restText() {
    return textOf(rest());
}

std::string Process::errorText() {
    return textOf(readAll(errors));
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
