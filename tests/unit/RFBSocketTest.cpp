#include "rfb/RFBSocket.h"
#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"
#include "support/Process.h"
#include "support/ScriptedServer.h"
#include "support/Wire.h"

#include <gtest/gtest.h>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <csignal>

using namespace orvel;
using namespace test;

namespace {

constexpr const char* closedMessage = "The remote desktop closed the connection.";

/// The sentence of the RFBError::broken that the action throws.
template<class Action>
std::string brokenBy(Action action) {
    try {
        action();
    } catch (const RFBError& error) {
        EXPECT_EQ(error.code(), "remote_protocol");
        return error.message();
    }
    return "nothing was thrown";
}

struct Address {
    sockaddr_in where{};
    addrinfo entry{};

    explicit Address(int port, const addrinfo* next = nullptr) {
        where.sin_family = AF_INET;
        where.sin_port = htons(static_cast<std::uint16_t>(port));
        where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        entry.ai_family = AF_INET;
        entry.ai_socktype = SOCK_STREAM;
        entry.ai_addr = reinterpret_cast<sockaddr*>(&where);
        entry.ai_addrlen = sizeof where;
        entry.ai_next = const_cast<addrinfo*>(next);
    }
    ~Address() = default;
    Address(const Address&) = delete;
    Address& operator=(const Address&) = delete;
};

} // namespace

TEST(RFBSocket, ReadsOfEverySizeContinueWhereTheLastOneEnded) {
    test::Bytes all(1'500'000);
    for (std::size_t at = 0; at < all.size(); ++at)
        all[at] = static_cast<std::uint8_t>(at * 31 + at / 251);
    ScriptedServer server(sending(all));
    RFBSocket socket(server.client());
    test::Bytes received;
    for (const std::ptrdiff_t size : {1, 300'000, 0, -1, 70'000, 3, 262'144, 600'000, 5, 262'145}) {
        const auto bytes = socket.bytes(size);
        ASSERT_EQ(std::ssize(bytes), std::max<std::ptrdiff_t>(size, 0));
        received.insert(received.end(), bytes.begin(), bytes.end());
    }
    EXPECT_TRUE(std::equal(received.begin(), received.end(), all.begin()));
}

TEST(RFBSocket, NumbersFollowStringsWhetherTheyComeTogetherOrByteByByte) {
    const auto fields = Wire().string("a").string("").u8(7).i32(-223).u16(0xfedc);
    for (const bool dribble : {false, true}) {
        ScriptedServer server(sending(fields), {.dribble = dribble});
        RFBSocket socket(server.client());
        EXPECT_EQ(socket.string(), "a");
        EXPECT_EQ(socket.string(), "");
        EXPECT_EQ(socket.u8(), 7);
        EXPECT_EQ(socket.i32(), -223);
        EXPECT_EQ(socket.u16(), 0xfedc);
    }
}

TEST(RFBSocket, WritingToAPeerThatIsGoneIsAnErrorAndNoSignal) {
    const auto before = std::signal(SIGPIPE, SIG_DFL);
    const ListeningServer server([](ServerSide& side) { side.hangUp(); });
    RFBSocket socket("127.0.0.1", server.port());
    EXPECT_EQ(brokenBy([&] { socket.u8(); }), closedMessage);
    // The peer's system is asked first, and only then known to have nobody for us.
    const auto writeOn = [&] {
        socket.write(be32(1));
        return false;
    };
    EXPECT_EQ(brokenBy([&] { eventually(writeOn); }), closedMessage);
    EXPECT_NO_THROW(socket.write({}));
    std::signal(SIGPIPE, before);
}

TEST(RFBSocket, MessagesOfSeveralThreadsDoNotMix) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    const FileDescriptor peer(ends[1]);
    RFBSocket socket{FileDescriptor(ends[0])};
    // Larger than what the system takes at once, so that every write blocks midway.
    constexpr std::size_t size = 1'000'000;
    constexpr int threads = 3;
    std::vector<std::jthread> writers;
    for (std::uint8_t writer = 1; writer <= threads; ++writer)
        writers.emplace_back([&socket, writer] { socket.write(test::Bytes(size, writer)); });
    test::Bytes received(size * threads);
    ASSERT_EQ(recv(peer.get(), received.data(), received.size(), MSG_WAITALL),
              static_cast<ssize_t>(received.size()));
    for (std::size_t start = 0; start < received.size(); start += size)
        EXPECT_EQ(std::count(received.begin() + static_cast<std::ptrdiff_t>(start),
                             received.begin() + static_cast<std::ptrdiff_t>(start + size),
                             received[start]),
                  static_cast<std::ptrdiff_t>(size));
}

TEST(TCPConnection, TakesTheFirstAddressThatAnswersInTime) {
    const BusyPort busy;
    ListeningServer server(sending({42}));
    const TCPPort deaf;
    const Address live(server.port());
    const Address silent(busy.port(), &live.entry);
    const Address dead(deaf.port(), &silent.entry);
    auto connection = connectToFirst(&dead.entry, 300ms);
    int silence = 0; // in milliseconds, after which a peer that says nothing counts as gone
    socklen_t size = sizeof silence;
    getsockopt(connection.get(), IPPROTO_TCP, TCP_USER_TIMEOUT, &silence, &size);
    EXPECT_EQ(silence, 60'000);
    int probed = 0;
    getsockopt(connection.get(), SOL_SOCKET, SO_KEEPALIVE, &probed, &size);
    EXPECT_EQ(probed, 1);
    RFBSocket socket(std::move(connection));
    EXPECT_EQ(socket.u8(), 42);
}

TEST(TCPConnection, SaysWhichPortsAreNone) {
    for (const std::int64_t port : {-1, 65536 + 22})
        try {
            RFBSocket("127.0.0.1", port, 300ms);
            ADD_FAILURE() << "connected to port " << port;
        } catch (const RFBError& error) {
            EXPECT_EQ(error.code(), "remote_unreachable");
            EXPECT_EQ(error.message(), "127.0.0.1 could not be found.");
        }
}
