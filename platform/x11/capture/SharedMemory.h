#pragma once

#include "platform/x11/server/Connection.h"

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace platform::x11 {

/// Memory that the X server writes pictures into (MIT-SHM). Only this user may attach it, and it
/// is gone with the last of the two that has.
class SharedMemory {
public:
    /// Nothing if the server lacks the extension, runs elsewhere or as another user, or memory is
    /// short. The connection outlives the object.
    static std::unique_ptr<SharedMemory> create(const Connection& connection, std::size_t size);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    std::uint8_t* data() const { return memory; }
    xcb_shm_seg_t segment() const { return name; }

private:
    SharedMemory(const Connection& connection, std::uint8_t* memory, xcb_shm_seg_t name)
        : connection(connection),
          memory(memory),
          name(name) {}

    const Connection& connection;
    std::uint8_t* memory;
    xcb_shm_seg_t name;
};

} // namespace platform::x11
