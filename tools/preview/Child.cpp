#include "tools/preview/Child.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

// glibc 2.36 does not say so itself.
extern "C" {
#include <sys/pidfd.h>
}

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace preview {
namespace {

using orvel::FileDescriptor;

/// How long the child may leave its standard input full.
constexpr int writingTime = 2000; // ms
/// How long it may take to end; more than its own orderly end ever needs.
constexpr int endingTime = 2000; // ms

struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// How the child starts: our pipes on its standard streams, nothing else of ours open, and the
/// broken-pipe signal as the system sets it.
class SpawnSettings {
public:
    SpawnSettings(int standardInput, int standardOutput) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, standardInput, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, standardOutput, STDOUT_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        posix_spawnattr_init(&attributes);
        sigset_t standard{};
        sigemptyset(&standard);
        sigaddset(&standard, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes, &standard);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

} // namespace

Child::Child(const Words& command) {
    auto in = makePipe();
    auto out = makePipe();
    start(command, in.reading.get(), out.writing.get());
    // A child that reads nothing must not hold up a thread of ours for ever.
    fcntl(in.writing.get(), F_SETFL, O_NONBLOCK);
    input = std::move(in.writing);
    output = std::move(out.reading);
}

void Child::start(const Words& command, int standardInput, int standardOutput) {
    const SpawnSettings settings(standardInput, standardOutput);
    auto words = command;
    std::vector<char*> pointers;
    for (auto& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const int error = posix_spawnp(&pid, pointers.front(), &settings.actions, &settings.attributes,
                                   pointers.data(), environ);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command.front());
}

Child::~Child() {
    // Its output too: it may be waiting for somebody to read it.
    input = FileDescriptor();
    output = FileDescriptor();
    waitForEnd();
}

void Child::waitForEnd() const {
    const FileDescriptor process(pidfd_open(pid, 0));
    pollfd ended{process.get(), POLLIN, 0};
    if (poll(&ended, 1, endingTime) <= 0)
        kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

bool Child::write(std::string_view lines) {
    const platform::MutexLock locked(writing);
    while (input && !lines.empty()) {
        pollfd room{input.get(), POLLOUT, 0};
        const auto count = poll(&room, 1, writingTime) > 0
                               ? ::write(input.get(), lines.data(), lines.size())
                               : ssize_t{-1};
        if (count < 0)
            input = FileDescriptor();
        lines.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return lines.empty();
}

bool Child::waitForOutput(std::chrono::milliseconds limit) const {
    pollfd waiting{output.get(), POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(limit.count())) > 0;
}

std::span<const char> Child::read(std::span<char> room) const {
    const auto count = ::read(output.get(), room.data(), room.size());
    return room.first(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

} // namespace preview
