#include "support/ScriptedServer.h"

#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"
#include "support/Process.h"

#include <netdb.h>
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

ServerSide::ServerSide(FileDescriptor connected, const Manner& manner)
    : connection(std::move(connected)),
      manner(manner) {
    const timeval limit{.tv_sec = std::chrono::seconds(patience).count(), .tv_usec = 0};
    setOption(connection, SOL_SOCKET, SO_RCVTIMEO, limit);
    setOption(connection, SOL_SOCKET, SO_SNDTIMEO, limit);
}

void ServerSide::send(std::span<const std::uint8_t> bytes) {
    const std::size_t packet = manner.dribble ? 1 : 16384;
    while (!bytes.empty()) {
        auto count = std::min(packet, bytes.size());
        if (manner.cutAfter)
            count = std::min(count, *manner.cutAfter - sent);
        if (count == 0 || ::send(connection.get(), bytes.data(), count, MSG_NOSIGNAL) < 0)
            throw HungUp{};
        sent += count;
        bytes = bytes.subspan(count);
    }
}

Bytes ServerSide::receive() {
    const auto count = recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0)
        return {};
    return packets.emplace_back(buffer.begin(), buffer.begin() + count);
}

void ServerSide::play(const Script& script) {
    try {
        script(*this);
        finish();
    } catch (const HungUp&) {
        hangUp();
    }
}

void ServerSide::finish() {
    shutdown(connection.get(), SHUT_WR);
    while (!receive().empty()) {
    }
}

Script sending(Bytes bytes) {
    return [bytes = std::move(bytes)](ServerSide& side) { side.send(bytes); };
}

ScriptedServer::ScriptedServer(Script script, const Manner& manner) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::runtime_error("no socket pair");
    clientEnd = FileDescriptor(ends[0]);
    side.emplace(FileDescriptor(ends[1]), manner);
    thread = std::jthread([this, script = std::move(script)] { side->play(script); });
}

std::vector<Bytes> ScriptedServer::writes() {
    if (thread.joinable())
        thread.join();
    return side->received();
}

Bytes ScriptedServer::written() {
    Bytes all;
    for (const auto& bytes : writes())
        all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

TCPPort::TCPPort(const char* address) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(address, "0", &hints, &found) != 0)
        throw std::runtime_error(std::string("no address: ") + address);
    bound = FileDescriptor(socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const bool taken = bind(bound.get(), found->ai_addr, found->ai_addrlen) == 0;
    freeaddrinfo(found);
    if (!taken)
        throw std::runtime_error(std::string("no port of ") + address);
}

int TCPPort::port() const {
    sockaddr_in6 address{}; // its port lies where that of the smaller IPv4 address does
    socklen_t size = sizeof address;
    getsockname(bound.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin6_port);
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

ListeningServer::ListeningServer(Script script, const Manner& manner, const char* address)
    : TCPPort(address) {
    listen(bound.get(), 1);
    thread = std::jthread([this, script = std::move(script), manner] {
        FileDescriptor accepted(accept4(bound.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!accepted)
            return;
        setOption(accepted, IPPROTO_TCP, TCP_NODELAY, 1);
        ServerSide(std::move(accepted), manner).play(script);
    });
}

ListeningServer::~ListeningServer() {
    // Ends the wait for a client that never came.
    shutdown(bound.get(), SHUT_RDWR);
}

} // namespace test
