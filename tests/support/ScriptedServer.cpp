#include "support/ScriptedServer.h"

#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"
#include "support/Process.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace test {

using orvel::FileDescriptor;

namespace {

struct HungUp {};

void play(const Script& script, ServerSide& side) {
    try {
        script(side);
        side.finish();
    } catch (const HungUp&) {
        side.hangUp();
    }
}

/// The ends of the client and of the server.
std::pair<FileDescriptor, FileDescriptor> connectedPair() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::runtime_error("no socket pair");
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// A socket that has a port of this address.
FileDescriptor boundTo(const char* address) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(address, "0", &hints, &found) != 0)
        throw std::runtime_error(std::string("no address: ") + address);
    FileDescriptor fd(socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const bool bound = bind(fd.get(), found->ai_addr, found->ai_addrlen) == 0;
    freeaddrinfo(found);
    if (!bound)
        throw std::runtime_error(std::string("no port of ") + address);
    return fd;
}

} // namespace

ServerSide::ServerSide(FileDescriptor connection, const Manner& manner)
    : connection(std::move(connection)),
      manner(manner) {
    const timeval limit{.tv_sec = std::chrono::seconds(patience).count(), .tv_usec = 0};
    setsockopt(this->connection.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(this->connection.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
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
    packets.emplace_back(buffer.begin(), buffer.begin() + count);
    return packets.back();
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
    auto [ofClient, ofServer] = connectedPair();
    clientEnd = std::move(ofClient);
    side.emplace(std::move(ofServer), manner);
    thread = std::jthread([this, script = std::move(script)] { play(script, *side); });
}

ScriptedServer::~ScriptedServer() {
    clientEnd = {};
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

TCPPort::TCPPort(const char* address) : bound(boundTo(address)) {}

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
        const int on = 1;
        setsockopt(accepted.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        ServerSide side(std::move(accepted), manner);
        play(script, side);
    });
}

ListeningServer::~ListeningServer() {
    // Ends the wait for a client that never came.
    shutdown(bound.get(), SHUT_RDWR);
}

} // namespace test
