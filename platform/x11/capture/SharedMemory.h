#pragma once

#include "platform/x11/server/Connection.h"

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace platform::x11 {

/// Memory that the X server writes pixels into (MIT-SHM), gone with the last of the two that has
/// it. Handed over as a descriptor (MIT-SHM 1.2); where that can't be, as a SysV segment that was
/// seen to be the same memory on both sides: a server in another container takes its number for
/// another program's memory, and says that all went well.
class SharedMemory {
public:
    /// Returns nullptr if the server lacks the extension, shares no memory with this process, or
    /// memory is short. The connection outlives the object.
    static std::unique_ptr<SharedMemory> create(const Connection& connection, std::size_t size);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    std::uint8_t* data() const { return mapping.get(); }
    xcb_shm_seg_t segment() const { return name; }

private:
    struct Unmap {
        std::size_t size; ///< 0: a SysV segment, which knows its own size.
        void operator()(std::uint8_t* memory) const;
    };
    using Mapping = std::unique_ptr<std::uint8_t, Unmap>;

    SharedMemory(const Connection& connection, Mapping mapping, xcb_shm_seg_t name)
        : connection(connection),
          mapping(std::move(mapping)),
          name(name) {}
    static std::unique_ptr<SharedMemory> byDescriptor(const Connection& connection,
                                                      std::size_t size);
    static std::unique_ptr<SharedMemory> bySegment(const Connection& connection, std::size_t size);

    const Connection& connection;
    Mapping mapping;
    xcb_shm_seg_t name;
};

} // namespace platform::x11
