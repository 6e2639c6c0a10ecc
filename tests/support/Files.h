#pragma once

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <utility>
#include <vector>

namespace test {

/// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const { return fd; }
    void reset() {
        if (fd >= 0)
            close(std::exchange(fd, -1));
    }

private:
    int fd = -1;
};

/// A directory of its own that goes with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::filesystem::path path;
};

void writeFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes);

} // namespace test
