#pragma once

#include <unistd.h>

#include <utility>

namespace orvel {

/// Owns an open file descriptor and closes it.
class FileDescriptor final {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number(number) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~FileDescriptor() {
        if (number >= 0)
            close(number);
    }

    /// Negative if there is none.
    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

private:
    int number = -1;
};

} // namespace orvel
