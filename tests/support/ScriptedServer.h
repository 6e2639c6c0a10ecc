#pragma once

#include "app/host/FileDescriptor.h"
#include "support/Wire.h"

#include <functional>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace test {

/// The server's end of a connection, for a script to speak through.
class ServerSide {
public:
    explicit ServerSide(orvel::FileDescriptor connection);

    /// Ends the script if the client has hung up.
    void send(std::span<const std::uint8_t> bytes);
    /// What the client's next write brought; empty once it has hung up.
    Bytes receive();
    /// Receives until the client hangs up.
    void receiveAll();
    /// No more bytes will come.
    void finish();
    void hangUp() { connection = {}; }
    /// Plays the script as far as the client lets it.
    void play(const std::function<void(ServerSide&)>& script);

    /// Everything received so far, write by write.
    const std::vector<Bytes>& received() const { return packets; }

private:
    orvel::FileDescriptor connection;
    Bytes buffer = Bytes(65536);
    std::vector<Bytes> packets;
};

using Script = std::function<void(ServerSide&)>;

/// Sends the bytes, whatever the client says.
Script sending(Bytes bytes);

/// A server in this process that plays a script, on a thread of its own, to one client over a
/// connection that keeps packets apart: the client receives them one by one, and its writes show.
/// At the end of the script the client finds the end of the stream.
class ScriptedServer {
public:
    explicit ScriptedServer(Script script);

    /// The client's end, to be had once. It must be gone before the server goes.
    orvel::FileDescriptor client() { return std::move(clientEnd); }
    /// Waits for the client to hang up. Everything it wrote, write by write or all together.
    std::vector<Bytes> writes();
    Bytes written();

private:
    std::optional<ServerSide> side;
    std::jthread thread;
    orvel::FileDescriptor clientEnd;
};

/// A TCP port of this machine that is taken, but nobody listens there.
class TCPPort {
public:
    TCPPort();

    int port() const { return number; }

protected:
    orvel::FileDescriptor bound;

private:
    int number = 0;
};

/// A port on which somebody listens who has no time for anybody: connecting is never answered.
class BusyPort : public TCPPort {
public:
    BusyPort();

private:
    std::vector<orvel::FileDescriptor> queue;
};

/// The server that plays a script to one client on a TCP port of this machine, and then listens
/// until the client hangs up.
class ListeningServer : public TCPPort {
public:
    explicit ListeningServer(Script script);
    ~ListeningServer();

private:
    std::jthread thread;
};

} // namespace test
