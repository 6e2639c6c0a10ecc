#include "platform/wayland/server/Memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace platform::wayland {

Memory::Memory(std::size_t size) : bytes(size), file(memfd_create("orvel-screen", MFD_CLOEXEC)) {
    void* const address = file >= 0 && ftruncate(file, static_cast<off_t>(size)) == 0
                              ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0)
                              : MAP_FAILED; // NOLINT(performance-no-int-to-ptr)
    if (address == MAP_FAILED) {            // NOLINT(performance-no-int-to-ptr)
        if (file >= 0)
            close(file);
        throw std::bad_alloc();
    }
    mapping = static_cast<std::uint8_t*>(address);
}

Memory::~Memory() {
    munmap(mapping, bytes);
    close(file);
}

} // namespace platform::wayland
