#include "rfb/VNCStreamCommand.h"

#include "app/host/ControlMessages.h"
#include "app/host/HostChannel.h"
#include "platform/Cipher.h"
#include "platform/Queue.h"
#include "rfb/RFBError.h"
#include "rfb/RFBHandshake.h"
#include "rfb/RFBSocket.h"
#include "rfb/VNCArguments.h"
#include "rfb/VNCSession.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

namespace orvel {
namespace {

/// How long the orderly end may take once standard input is closed. A server that takes nothing
/// more must not keep the process alive.
constexpr auto endingTime = std::chrono::milliseconds(700);

void report(const std::exception& error) {
    const auto failure = remoteFailure(error);
    problem(failure.code(), failure.message());
}

/// Ends the process when the parent has closed its end of standard input and the threads have not
/// ended it by themselves in good time: they may be waiting for the server.
void watchForHangUp() {
    pollfd input{STDIN_FILENO, 0, 0};
    while (poll(&input, 1, -1) < 0) {
    }
    std::this_thread::sleep_for(endingTime);
    flushAndExit();
}

std::unique_ptr<VNCSession> connect(const VNCArguments& server,
                                    const std::optional<std::string>& password,
                                    const StartMessage& start) {
    auto sock = std::make_unique<RFBSocket>(server.host, server.port);
    std::thread(watchForHangUp).detach();
    const auto description = rfbHandshake(*sock, password);
    rfbSetup(*sock);
    return std::make_unique<VNCSession>(std::move(sock), description, start.fps, start.kbps,
                                        start.maxw);
}

std::unique_ptr<VNCSession> connectOrGiveUp(const VNCArguments& server,
                                            const std::optional<std::string>& password,
                                            const StartMessage& start) {
    try {
        return connect(server, password, start);
    } catch (const std::exception& error) {
        report(error);
        flushAndExit();
    }
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

void dispatch(const nlohmann::json& message, VNCSession& session) {
    const auto type = messageType(message);
    if (type == "idr") {
        session.askKey();
    } else if (type == "rate") {
        if (const auto kbps = integerField(message, "kbps"))
            session.setRate(*kbps);
    } else if (type != "start") {
        session.handle(message);
    }
}

[[noreturn]] void serveControl(LineReader& input, VNCSession& session) {
    while (const auto line = input.next())
        if (const auto message = controlMessage(*line))
            dispatch(*message, session);
    session.stop();
    flushAndExit();
}

} // namespace

void vncStream(Arguments arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    const auto server = vncArguments(arguments);
    LineReader input(STDIN_FILENO);
    auto [password, next] = readAuth(input);
    const auto start = next ? startMessage(*next) : std::nullopt;
    if (!start)
        flushAndExit();

    const auto session = connectOrGiveUp(server, password, *start);
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
