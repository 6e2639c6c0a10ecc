#pragma once

#include "platform/Area.h"
#include "rfb/Framebuffer.h"
#include "rfb/Inflater.h"
#include "rfb/RFBHandshake.h"
#include "rfb/RFBSocket.h"
#include "rfb/RemoteInput.h"
#include "rfb/RemoteVideo.h"
#include "rfb/Scratch.h"

#include <nlohmann/json_fwd.hpp>

#include <atomic>
#include <cstdint>
#include <memory>

namespace orvel {

/// One live connection to a VNC server, after the handshake: keeps the remote screen in a
/// framebuffer, turns it into video, and turns the phone's input into RFB messages (RFC 6143).
///
/// Three threads meet here. The session thread is in `run`, the only reader of the socket; the
/// control thread calls `handle`, which is RemoteInput's; whatever touches the encoder runs on the
/// queue of RemoteVideo.
class VNCSession final {
public:
    /// Takes the connected socket behind a successful handshake. fps is 1 to 60, kbps 200 to
    /// 20000, `maxw` the largest width of the video, 320 to 7680. Sends nothing.
    VNCSession(std::unique_ptr<RFBSocket> sock, const RFBServer& server, int fps, int kbps,
               int maxw);

    /// Serves the server's messages on the session thread until something fails: throws the
    /// RFBError that ended the session, which after `stop` is only the closed connection.
    [[noreturn]] void run();
    /// Asks for an update of the whole screen: of what has changed, or of everything. Throws
    /// RFBError.
    void request(bool incremental);
    /// Ends the session: emits pending video, then closes the connection, which ends `run`. Any
    /// thread, any number of times.
    void stop();
    bool isStopping() const { return stopping; }

    /// Makes an encoder for the remote screen's present size and announces the video; false if
    /// there is no encoder to be had, or the session is stopping. Waits for the queue of the video,
    /// so never on it.
    bool announce() { return video.announce(); }
    /// Schedules a video frame of the newest state of the screen, no sooner than the frame rate
    /// allows.
    void changed() { video.changed(); }
    /// Makes the next video frame a key frame. Returns at once.
    void askKey() { video.askKey(); }
    /// Changes the bit rate, clamped to 200..20000. Returns at once.
    void setRate(std::int64_t kbps) { video.setRate(kbps); }

    /// Carries out one of the phone's messages. Control thread only.
    void handle(const nlohmann::json& message) { input.handle(message); }

private:
    void framebufferUpdate();
    bool rectangle(); // true if it changed the size of the screen
    void draw(std::int32_t encoding, const platform::Area& target);
    void raw(const platform::Area& target);
    void copyRect(const platform::Area& target);
    void zrle(const platform::Area& target);
    bool desktopSize(const platform::Area& target);
    void skipColourMap();
    void serverCutText();

    const std::unique_ptr<RFBSocket> sock;
    Framebuffer fb;
    RemoteVideo video;
    RemoteInput input;
    std::atomic<bool> stopping = false;

    // Session thread only.
    Inflater inflater;
    Scratch<std::uint32_t> rowOfTiles; // of ZRLE
    std::int64_t pixelsLeft = 0;       // that the present update may still draw
};

} // namespace orvel
