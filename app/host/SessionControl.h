#pragma once

#include "app/host/ControlMessages.h"
#include "app/host/HostChannel.h"

#include <utility>

namespace orvel {

/// Carries out the messages of a running session, line by line, and ends the process behind the
/// last one. A session has askKey(), setRate(kbps), handle(message) for what is its own, and
/// stop(), after which it emits no more video.
template<class Session>
[[noreturn]] void serveControl(LineReader& lines, Session& session) {
    while (const auto line = lines.next()) {
        auto message = controlMessage(*line);
        if (!message)
            continue;
        const auto type = messageType(*message);
        if (type == "idr") {
            session.askKey();
        } else if (type == "rate") {
            if (const auto kbps = integerField(*message, "kbps"))
                session.setRate(*kbps);
        } else if (type != "start") {
            session.handle(*std::move(message));
        }
    }
    session.stop();
    flushAndExit();
}

} // namespace orvel
