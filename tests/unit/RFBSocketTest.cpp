#include "rfb/RFBSocket.h"
#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"
#include "support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

using namespace orvel;
using namespace test;

TEST(RFBSocket, ReadsOfEverySizeContinueWhereTheLastOneEnded) {
    test::Bytes all(1'500'000);
    for (std::size_t at = 0; at < all.size(); ++at)
        all[at] = static_cast<std::uint8_t>(at * 31 + at / 251);
    ScriptedServer server(sending(all));
    RFBSocket socket(server.client());
    Wire received;
    for (const std::ptrdiff_t size : {1, 300'000, 0, -1, 70'000, 3, 262'144, 600'000, 5, 262'145}) {
        const auto bytes = socket.bytes(size);
        ASSERT_EQ(std::ssize(bytes), std::max<std::ptrdiff_t>(size, 0));
        received.append(bytes);
    }
    all.resize(received.size());
    EXPECT_EQ(received, all);
}

TEST(RFBSocket, MessagesOfSeveralThreadsDoNotMixAndNoneIsASignalWhenThePeerIsGone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    FileDescriptor peer(ends[1]);
    RFBSocket socket{FileDescriptor(ends[0])};
    // Larger than what the system takes at once, so that both writes block midway.
    const auto write = [&](std::uint8_t writer) { socket.write(test::Bytes(1'000'000, writer)); };
    std::jthread first(write, 1);
    std::jthread second(write, 2);
    test::Bytes received(2'000'000);
    ASSERT_EQ(recv(peer.get(), received.data(), received.size(), MSG_WAITALL),
              std::ssize(received));
    EXPECT_EQ(std::ranges::count(std::span(received).first(1'000'000), received[0]), 1'000'000);
    first.join();
    second.join();
    peer = {};
    EXPECT_THROW(write(3), RFBError);
}

TEST(TCPConnection, TakesTheFirstAddressThatAnswersInTimeAndNoticesAPeerThatIsGone) {
    const TCPPort deaf;
    const BusyPort busy;
    const ListeningServer live(sending({42}));
    std::array<sockaddr_in, 3> places{};
    std::array<addrinfo, 4> addresses{};
    for (std::size_t at = 0; const auto port : {deaf.port(), busy.port(), live.port()}) {
        places[at].sin_family = AF_INET;
        places[at].sin_port = htons(static_cast<std::uint16_t>(port));
        places[at].sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addresses[at].ai_family = AF_INET;
        addresses[at].ai_socktype = SOCK_STREAM;
        addresses[at].ai_addr = reinterpret_cast<sockaddr*>(&places[at]);
        addresses[at].ai_addrlen = sizeof places[at];
        addresses[at].ai_next = at < 2 ? &addresses[at + 1] : nullptr;
        ++at;
    }
    auto connection = connectToFirst(addresses.data(), std::chrono::milliseconds(300));
    const auto option = [&](int level, int name) {
        int value = 0;
        socklen_t size = sizeof value;
        getsockopt(connection.get(), level, name, &value, &size);
        return value;
    };
    EXPECT_EQ(option(IPPROTO_TCP, TCP_NODELAY), 1);
    EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 60'000);
    EXPECT_EQ(RFBSocket(std::move(connection)).u8(), 42);
}
