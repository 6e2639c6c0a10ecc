#pragma once

#include "app/host/FileDescriptor.h"
#include "platform/Mutex.h"

#include <sys/types.h>

#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace preview {

using Words = std::vector<std::string>;

/// A child process with pipes on its standard input and output, as the parent application holds
/// one. Any thread may write; one at a time reads.
class Child {
public:
    /// Starts the program that the first word names, on PATH if it has no slash. Throws
    /// std::runtime_error if that fails.
    explicit Child(const Words& command);
    /// Closes its standard input, by which it ends, and waits for that; kills it if it takes long.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Writes to its standard input. False if it is gone or takes nothing more; it then gets
    /// nothing from later calls either, since a line may have stayed without its end.
    bool write(std::string_view lines);

    /// Waits until it has written something or ended; false if `limit` ran out.
    bool waitForOutput(std::chrono::milliseconds limit) const;
    /// What it has written, as much as there is room for; empty at the end. Blocks until then.
    std::span<const char> read(std::span<char> room) const;

private:
    void start(const Words& command, int standardInput, int standardOutput);
    void waitForEnd() const;

    pid_t pid = -1;
    platform::Mutex writing;
    orvel::FileDescriptor input GUARDED_BY(writing);
    orvel::FileDescriptor output;
};

} // namespace preview
