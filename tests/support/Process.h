#pragma once

#include "support/Files.h"
#include "support/Frames.h"

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace test {

using namespace std::chrono_literals;

/// How long a test waits for what must come; generous, for a busy machine under a sanitizer.
constexpr auto patience = 60s;

/// Asks again and again until the answer is yes; false if `patience` ran out first.
template<class Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = patience) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        usleep(2000);
    }
    return true;
}

/// A command's words, and more of them.
std::vector<std::string> joined(std::vector<std::string> words,
                                const std::vector<std::string>& more);

/// A variable for a child's environment; without a value the child does not have it.
struct Variable {
    std::string name;
    std::optional<std::string> value;
};

/// What a parent may hand its child as standard input and output.
enum class Streams { pipes, nonBlockingPipes, sockets };

/// A child process, with ways to its standard streams. Killed, if need be, with the object.
class Process {
public:
    /// Finds the program on PATH. Standard error is the test's own unless `collectErrors`.
    Process(const std::vector<std::string>& command, const std::vector<Variable>& variables = {},
            bool collectErrors = false, Streams streams = Streams::pipes);
    ~Process();

    pid_t id() const { return pid; }

    /// Writes to its standard input; a line gets its line feed here.
    void write(std::string_view text);
    void line(std::string_view text) { write(std::string(text) + '\n'); }
    /// Writes as much of the text as it takes before it takes nothing more for half a second.
    void offer(std::string_view text);
    /// A socket stays open in the other direction.
    void closeInput();
    void closeOutput();

    /// The next frame of its standard output; nothing at the end, or when `limit` runs out.
    std::optional<Frame> frame(std::chrono::milliseconds limit = patience);
    /// Passes over frames up to the next of this type.
    std::optional<Frame> frame(orvel::FrameType type, std::chrono::milliseconds limit = patience);
    /// What has come on its standard output since the last call, waiting for the first bytes;
    /// nothing at the end, or when `limit` runs out.
    std::vector<std::uint8_t> chunk(std::chrono::milliseconds limit = patience);
    /// The first line of its standard output, if that is text.
    std::string firstLine(std::chrono::milliseconds limit = patience);
    /// Everything up to the end of its standard output, and of its standard error if collected.
    std::vector<std::uint8_t> rest();
    std::string restText();
    std::string errorText();

    void signal(int number) const;
    /// Its exit status once it has ended, 128 + n after signal n; nothing if `limit` ran out.
    std::optional<int> wait(std::chrono::milliseconds limit = patience);
    /// The most memory it ever had, in MiB, once it has ended.
    double peakMemory() const { return static_cast<double>(usage.ru_maxrss) / 1024; }

private:
    /// Reads output until `take` has found what it looks for, or `limit` runs out.
    template<class Take>
    auto await(std::chrono::milliseconds limit, Take take);

    pid_t pid = -1;
    std::optional<int> status;
    rusage usage{};
    Descriptor input;
    Descriptor output;
    Descriptor errors;
    std::vector<std::uint8_t> received;
};

} // namespace test
