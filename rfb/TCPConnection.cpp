#include "rfb/TCPConnection.h"

#include "rfb/RFBError.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace orvel {
namespace {

struct FreeAddresses {
    void operator()(addrinfo* first) const { freeaddrinfo(first); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

Addresses resolved(const std::string& host, std::int64_t port) {
    // The resolver would take such a port modulo 65536 and so reach somebody else.
    if (port < 0 || port > 65535)
        return nullptr;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* first = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &first) != 0)
        return nullptr;
    return Addresses(first);
}

bool becomesWritable(int fd, std::chrono::milliseconds timeout) {
    using namespace std::chrono;
    const auto deadline = steady_clock::now() + timeout;
    while (true) {
        const auto left = std::max(ceil<milliseconds>(deadline - steady_clock::now()), 0ms);
        pollfd waiting{fd, POLLOUT, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
        if (ready >= 0 || errno != EINTR)
            return ready == 1;
    }
}

/// Small messages leave at once. A peer that is gone without a word is noticed within a minute,
/// whether something waits to be acknowledged or nothing is said at all; else a screen that does
/// not change could not be told from one that is no more.
void setOptions(int fd) {
    using namespace std::chrono_literals;
    constexpr auto maxSilence = 60s;
    constexpr auto probeDistance = 10s;
    const auto set = [fd](int level, int option, std::int64_t value) {
        const int number = static_cast<int>(value);
        setsockopt(fd, level, option, &number, sizeof number);
    };
    set(IPPROTO_TCP, TCP_NODELAY, 1);
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, probeDistance.count());
    set(IPPROTO_TCP, TCP_KEEPINTVL, probeDistance.count());
    set(IPPROTO_TCP, TCP_KEEPCNT, maxSilence / probeDistance - 1);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, std::chrono::milliseconds(maxSilence).count());
}

bool withoutError(int fd) {
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

bool connects(int fd, const addrinfo& address, std::chrono::milliseconds timeout) {
    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    const bool connected =
        connect(fd, address.ai_addr, address.ai_addrlen) == 0 ||
        (errno == EINPROGRESS && becomesWritable(fd, timeout) && withoutError(fd));
    fcntl(fd, F_SETFL, flags);
    return connected;
}

} // namespace

FileDescriptor connectToFirst(const addrinfo* addresses, std::chrono::milliseconds timeout) {
    for (const auto* address = addresses; address; address = address->ai_next) {
        FileDescriptor fd(
            socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol));
        if (!fd || !connects(fd.get(), *address, timeout))
            continue;
        setOptions(fd.get());
        return fd;
    }
    return {};
}

FileDescriptor connectTCP(const std::string& host, std::int64_t port,
                          std::chrono::milliseconds timeout) {
    const auto addresses = resolved(host, port);
    if (!addresses)
        throw RFBError::unreachable(host + " could not be found.");
    auto fd = connectToFirst(addresses.get(), timeout);
    if (!fd)
        throw RFBError::unreachable(host + " did not answer on port " + std::to_string(port) + ".");
    return fd;
}

} // namespace orvel
