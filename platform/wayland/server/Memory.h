#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace platform::wayland {

/// Memory that can be handed to the compositor as a file's descriptor.
class Memory {
public:
    /// Throws std::bad_alloc. `size` is at least 1.
    explicit Memory(std::size_t size);
    ~Memory();
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    std::uint8_t* data() const { return mapping; }
    std::size_t size() const { return bytes; }
    int descriptor() const { return file; }

private:
    std::size_t bytes;
    int file;
    std::uint8_t* mapping;
};

} // namespace platform::wayland
