#include "platform/x11/capture/SharedMemory.h"

#include <sys/ipc.h>
#include <sys/shm.h>

namespace platform::x11 {

std::unique_ptr<SharedMemory> SharedMemory::create(const Connection& connection, std::size_t size) {
    if (!connection.has(&xcb_shm_id))
        return nullptr;
    const int id = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
    if (id < 0)
        return nullptr;
    void* const address = shmat(id, nullptr, 0);
    const auto name = xcb_generate_id(connection);
    const bool attached =
        address != reinterpret_cast<void*>(-1) && // NOLINT(performance-no-int-to-ptr)
        !Owned<xcb_generic_error_t>(xcb_request_check(
            connection,
            xcb_shm_attach_checked(connection, name, static_cast<std::uint32_t>(id), 0)));
    shmctl(id, IPC_RMID, nullptr);
    if (attached)
        return std::unique_ptr<SharedMemory>(
            new SharedMemory(connection, static_cast<std::uint8_t*>(address), name));
    if (address != reinterpret_cast<void*>(-1)) // NOLINT(performance-no-int-to-ptr)
        shmdt(address);
    return nullptr;
}

SharedMemory::~SharedMemory() {
    xcb_shm_detach(connection, name);
    shmdt(memory);
}

} // namespace platform::x11
