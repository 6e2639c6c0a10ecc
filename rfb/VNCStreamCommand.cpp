#include "rfb/VNCStreamCommand.h"

#include "app/host/HostChannel.h"
#include "app/host/HostWatch.h"
#include "app/host/SessionControl.h"
#include "platform/Cipher.h"
#include "platform/Queue.h"
#include "rfb/RFBError.h"
#include "rfb/RFBHandshake.h"
#include "rfb/RFBSocket.h"
#include "rfb/VNCArguments.h"
#include "rfb/VNCSession.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

namespace orvel {
namespace {

/// How long the session may take to start once standard input has ended. A host that does not
/// answer gets eight seconds, and why it failed is told as long as somebody is there to read it.
constexpr auto startTime = std::chrono::seconds(10);
/// How long the orderly end of a running session may take. A server that takes nothing more must
/// not keep the process alive.
constexpr auto endTime = std::chrono::milliseconds(700);

void report(const std::exception& error) {
    const auto failure = remoteFailure(error);
    problem(failure.code(), failure.message());
}

std::unique_ptr<VNCSession> connectOrExit(const VNCArguments& server,
                                          const std::optional<std::string>& password,
                                          const StartMessage& start) try {
    auto sock = std::make_unique<RFBSocket>(server.host, server.port);
    const auto description = rfbHandshake(*sock, password);
    rfbSetup(*sock);
    return std::make_unique<VNCSession>(std::move(sock), description, start.fps, start.kbps,
                                        start.maxw);
} catch (const std::exception& error) {
    report(error);
    flushAndExit();
}

[[noreturn]] void serveServer(VNCSession& session) {
    try {
        session.run();
    } catch (const std::exception& error) {
        if (!session.isStopping())
            report(error);
    }
    session.stop();
    flushAndExit();
}

} // namespace

void vncStream(Arguments arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    HostWatch watch(startTime);
    const auto server = vncArguments(arguments);
    LineReader input(STDIN_FILENO);
    auto [password, next] = readAuth(input);
    const auto start = next ? startMessage(*next) : std::nullopt;
    if (!start)
        flushAndExit();

    const auto session = connectOrExit(server, password, *start);
    watch.setPatience(endTime);
    // The session lives for hours and has no more use for it.
    if (password)
        platform::wipe(*password);
    if (!session->announce()) {
        problem("encoder", "This Mac could not start its video encoder.");
        flushAndExit();
    }
    std::thread serverThread([&] { serveServer(*session); });
    std::thread controlThread([&] { serveControl(input, *session); });
    platform::runMainLoop();
    flushAndExit();
}

} // namespace orvel
