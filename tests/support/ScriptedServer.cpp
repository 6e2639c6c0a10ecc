#include "support/ScriptedServer.h"

#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"
#include "support/Process.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

namespace test {

using orvel::FileDescriptor;

namespace {

struct HungUp {};

void setOption(const FileDescriptor& socket, int level, int option, const auto& value) {
    setsockopt(socket.get(), level, option, &value, sizeof value);
}

} // namespace

ServerSide::ServerSide(FileDescriptor connected) : connection(std::move(connected)) {
    const timeval limit{.tv_sec = std::chrono::seconds(patience).count(), .tv_usec = 0};
    setOption(connection, SOL_SOCKET, SO_RCVTIMEO, limit);
    setOption(connection, SOL_SOCKET, SO_SNDTIMEO, limit);
}

void ServerSide::send(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t maxPacket = 16384;
    while (!bytes.empty()) {
        const auto packet = bytes.first(std::min(maxPacket, bytes.size()));
        if (::send(connection.get(), packet.data(), packet.size(), MSG_NOSIGNAL) < 0)
            throw HungUp{};
        bytes = bytes.subspan(packet.size());
    }
}

Bytes ServerSide::receive() {
    const auto count = recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0)
        return {};
    return packets.emplace_back(buffer.begin(), buffer.begin() + count);
}

void ServerSide::receiveAll() {
    while (!receive().empty()) {
    }
}

void ServerSide::finish() {
    shutdown(connection.get(), SHUT_WR);
}

void ServerSide::play(const std::function<void(ServerSide&)>& script) {
    try {
        script(*this);
    } catch (const HungUp&) {
        hangUp();
    }
}

Script sending(Bytes bytes) {
    return [bytes = std::move(bytes)](ServerSide& side) { side.send(bytes); };
}

ScriptedServer::ScriptedServer(Script script) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::runtime_error("no socket pair");
    clientEnd = FileDescriptor(ends[0]);
    side.emplace(FileDescriptor(ends[1]));
    thread = std::jthread([this, script = std::move(script)] {
        side->play(script);
        side->finish();
        side->receiveAll();
    });
}

std::vector<Bytes> ScriptedServer::writes() {
    if (thread.joinable())
        thread.join();
    return side->received();
}

Bytes ScriptedServer::written() {
    Wire all;
    for (const auto& bytes : writes())
        all.append(bytes);
    return all;
}

TCPPort::TCPPort() : bound(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(bound.get(), generic, size) != 0 || getsockname(bound.get(), generic, &size) != 0)
        throw std::runtime_error("no free port");
    number = ntohs(address.sin_port);
}

BusyPort::BusyPort() {
    listen(bound.get(), 0);
    // Once the queue of those who wait to be accepted is full, the system leaves others unanswered.
    try {
        while (true)
            queue.push_back(orvel::connectTCP("127.0.0.1", port(), std::chrono::milliseconds(200)));
    } catch (const orvel::RFBError&) {
    }
}

ListeningServer::ListeningServer(Script script) {
    listen(bound.get(), 1);
    thread = std::jthread([this, script = std::move(script)] {
        FileDescriptor accepted(accept4(bound.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!accepted)
            return;
        setOption(accepted, IPPROTO_TCP, TCP_NODELAY, 1);
        ServerSide side(std::move(accepted));
        side.play(script);
        side.receiveAll();
    });
}

ListeningServer::~ListeningServer() {
    // Ends the wait for a client that never came.
    shutdown(bound.get(), SHUT_RDWR);
}

} // namespace test
