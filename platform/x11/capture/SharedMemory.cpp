#include "platform/x11/capture/SharedMemory.h"

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <random>

namespace platform::x11 {
namespace {

bool succeeded(const Connection& connection, xcb_void_cookie_t cookie) {
    return !Owned<xcb_generic_error_t>(xcb_request_check(connection, cookie));
}

/// Only a local socket carries descriptors; an attempt on any other ends the connection.
bool passesDescriptors(const Connection& connection) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(xcb_get_file_descriptor(connection), reinterpret_cast<sockaddr*>(&address),
                    &length) != 0 ||
        address.ss_family != AF_UNIX)
        return false;
    const auto version =
        reply(connection, xcb_shm_query_version_reply, xcb_shm_query_version(connection));
    return version && (version->major_version > 1 || version->minor_version >= 2);
}

/// Whether the server reads from its segment what is written here, by a picture of 8 by 8 random
/// pixels. The server must not write in the segment before this: it may be somebody else's.
bool isTheSameMemory(const Connection& connection, xcb_shm_seg_t segment, std::uint8_t* memory) {
    constexpr std::uint16_t side = 8;
    constexpr std::size_t maxPixelBytes = 4;
    std::array<std::uint8_t, std::size_t{side} * side * maxPixelBytes> written{};
    std::random_device random;
    for (auto& byte : written)
        byte = static_cast<std::uint8_t>(random());
    std::memcpy(memory, written.data(), written.size());
    const auto depth = connection.screen().root_depth;
    const auto pixmap = xcb_generate_id(connection);
    const auto context = xcb_generate_id(connection);
    xcb_create_pixmap(connection, depth, pixmap, connection.root(), side, side);
    xcb_create_gc(connection, context, pixmap, 0, nullptr);
    const bool drawn =
        succeeded(connection, xcb_shm_put_image_checked(connection, pixmap, context, side, side, 0,
                                                        0, side, side, 0, 0, depth,
                                                        XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segment, 0));
    const auto fetch = [&] {
        return reply(
            connection, xcb_get_image_reply,
            xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, 0, 0, side, side, ~0U));
    };
    const auto shared = drawn ? fetch() : nullptr;
    const auto bytes = shared ? xcb_get_image_data_length(shared.get()) : 0;
    // The same sent over the connection: so what the depth leaves out does not count.
    if (bytes > 0 && static_cast<std::size_t>(bytes) <= written.size())
        xcb_put_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, side, side, 0, 0, 0,
                      depth, static_cast<std::uint32_t>(bytes), written.data());
    const auto sent = shared ? fetch() : nullptr;
    xcb_free_gc(connection, context);
    xcb_free_pixmap(connection, pixmap);
    return sent && bytes > 0 &&
           std::memcmp(xcb_get_image_data(shared.get()), xcb_get_image_data(sent.get()),
                       static_cast<std::size_t>(bytes)) == 0;
}

} // namespace

void SharedMemory::Unmap::operator()(std::uint8_t* memory) const {
    if (size > 0)
        munmap(memory, size);
    else
        shmdt(memory);
}

std::unique_ptr<SharedMemory> SharedMemory::create(const Connection& connection, std::size_t size) {
    if (!connection.has(&xcb_shm_id))
        return nullptr;
    auto memory = passesDescriptors(connection) ? byDescriptor(connection, size) : nullptr;
    return memory ? std::move(memory) : bySegment(connection, size);
}

std::unique_ptr<SharedMemory> SharedMemory::byDescriptor(const Connection& connection,
                                                         std::size_t size) {
    const int descriptor = memfd_create("orvel-screen", MFD_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    void* const address =
        ftruncate(descriptor, static_cast<off_t>(size)) == 0
            ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0)
            : MAP_FAILED;        // NOLINT(performance-no-int-to-ptr)
    if (address == MAP_FAILED) { // NOLINT(performance-no-int-to-ptr)
        close(descriptor);
        return nullptr;
    }
    Mapping mapping(static_cast<std::uint8_t*>(address), {size});
    const auto name = xcb_generate_id(connection);
    // XCB closes the descriptor.
    if (!succeeded(connection, xcb_shm_attach_fd_checked(connection, name, descriptor, 0)))
        return nullptr;
    return std::unique_ptr<SharedMemory>(new SharedMemory(connection, std::move(mapping), name));
}

std::unique_ptr<SharedMemory> SharedMemory::bySegment(const Connection& connection,
                                                      std::size_t size) {
    const int id = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
    if (id < 0)
        return nullptr;
    void* const address = shmat(id, nullptr, 0);
    std::unique_ptr<SharedMemory> memory;
    if (address != reinterpret_cast<void*>(-1)) { // NOLINT(performance-no-int-to-ptr)
        Mapping mapping(static_cast<std::uint8_t*>(address), {0});
        const auto trial = xcb_generate_id(connection);
        const auto name = xcb_generate_id(connection);
        constexpr std::uint8_t readOnly = 1;
        const auto number = static_cast<std::uint32_t>(id);
        const bool isTheSame =
            succeeded(connection, xcb_shm_attach_checked(connection, trial, number, readOnly)) &&
            isTheSameMemory(connection, trial, mapping.get());
        // The server writes in no segment that it has for reading as well.
        xcb_shm_detach(connection, trial);
        if (isTheSame && succeeded(connection, xcb_shm_attach_checked(connection, name, number, 0)))
            memory.reset(new SharedMemory(connection, std::move(mapping), name));
    }
    shmctl(id, IPC_RMID, nullptr);
    return memory;
}

SharedMemory::~SharedMemory() {
    xcb_shm_detach(connection, name);
}

} // namespace platform::x11
