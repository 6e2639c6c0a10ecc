#include "support/Ports.h"

#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <stdexcept>

namespace test {

DeafPort::DeafPort() : bound(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    if (bind(bound.get(), any, size) != 0 || getsockname(bound.get(), any, &size) != 0)
        throw std::runtime_error("no port");
    number = ntohs(address.sin_port);
}

BusyPort::BusyPort() {
    if (listen(bound.get(), 0) != 0)
        throw std::runtime_error("can't listen");
    // Once the queue of those who wait to be accepted is full, the system leaves others unanswered.
    try {
        while (true)
            queue.push_back(orvel::connectTCP("127.0.0.1", port(), std::chrono::milliseconds(200)));
    } catch (const orvel::RFBError&) {
    }
}

} // namespace test
