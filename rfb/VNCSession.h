#pragma once

#include "app/host/HostChannel.h"
#include "local/Encoder.h"
#include "platform/PixelTransfer.h"
#include "platform/Queue.h"
#include "rfb/Framebuffer.h"
#include "rfb/Inflater.h"
#include "rfb/RFBHandshake.h"
#include "rfb/RFBSocket.h"
#include "rfb/Scratch.h"

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace orvel {

/// One live connection to a VNC server, after the handshake: keeps the remote screen in a
/// framebuffer, turns it into video, and turns the phone's input into RFB messages (RFC 6143).
///
/// Three threads meet here. The session thread is in `run`, the only reader of the socket; the
/// control thread calls `handle`; everything that touches the encoder runs on `encodeQueue`. No
/// path holds two of the three locks (`stateLock`, the framebuffer's, the socket's) at once.
class VNCSession final {
public:
    /// Takes the connected socket behind a successful handshake. fps is 1 to 60, kbps 200 to
    /// 20000, `maxw` the largest width of the video, 320 to 7680. Sends nothing.
    VNCSession(std::unique_ptr<RFBSocket> sock, const RFBServer& server, int fps, int kbps,
               int maxw);
    ~VNCSession();
    VNCSession(const VNCSession&) = delete;
    VNCSession& operator=(const VNCSession&) = delete;

    /// Serves the server's messages on the session thread until something fails: throws the
    /// RFBError that ended the session, which after `stop` is only the closed connection.
    [[noreturn]] void run();
    /// Asks for an update of the whole screen: of what has changed, or of everything. Throws
    /// RFBError.
    void request(bool incremental);
    /// Ends the session: emits pending video, then closes the connection, which ends `run`. Any
    /// thread, any number of times.
    void stop();
    bool isStopping() const;

    /// Makes an encoder for the remote screen's present size and announces the video; false if
    /// there is no encoder to be had, or the session is stopping. Waits for `encodeQueue`, so never
    /// on it.
    bool announce();
    /// Schedules a video frame of the newest picture, no sooner than the frame rate allows.
    void changed();
    /// Makes the next video frame a key frame. Returns at once.
    void askKey();
    /// Changes the bit rate, clamped to 200..20000. Returns at once.
    void setRate(std::int64_t kbps);

    /// Carries out one of the phone's messages. Control thread only; what can't be sent is
    /// dropped, since `run` learns of a broken connection by itself.
    void handle(const nlohmann::json& message);

private:
    using Clock = std::chrono::steady_clock;
    struct Size {
        int w = 0;
        int h = 0;
        friend bool operator==(const Size&, const Size&) = default;
    };
    struct Rectangle {
        int x, y, w, h;
    };

    Size screenSize();

    // The server's messages (VNCSession.cpp), on the session thread.
    void framebufferUpdate();
    bool rectangle(); // true if it changed the size of the screen
    void requireOnScreen(const Rectangle& target);
    void put(const Rectangle& target, std::span<const std::uint8_t> pixels);
    void raw(const Rectangle& target);
    void copyRect(const Rectangle& target);
    void zrle(const Rectangle& target);
    bool desktopSize(const Rectangle& target);
    void skipColourMap();
    void serverCutText();

    // The video (VNCVideo.cpp), on encodeQueue.
    bool renewEncoder(Size screen, Size video);
    void encode();
    platform::ImageBuffer screenPicture();

    // The phone's input (VNCInput.cpp), on the control thread.
    void move(const nlohmann::json& message);
    void button(const nlohmann::json& message, bool down);
    void click(const nlohmann::json& message);
    void clickMask(std::uint8_t mask);
    void scroll(const nlohmann::json& message);
    void wheel(double& rest, std::uint8_t forward, std::uint8_t backward);
    void press(const nlohmann::json& message);
    void text(const nlohmann::json& message);
    void clip(const nlohmann::json& message);
    void setClipsync(const nlohmann::json& message);
    void pointerEvent();
    void key(std::uint32_t symbol, bool down);
    void typeKey(std::uint32_t symbol);
    void send(std::span<const std::uint8_t> message);

    const std::unique_ptr<RFBSocket> sock;
    Framebuffer fb;
    platform::PixelTransferSession transfer; // turns fb into pictures; guarded by its lock
    const std::string name;
    const int fps;
    const int maxw;

    // encodeQueue only.
    int kbps;
    std::shared_ptr<Encoder> encoder;

    // Control thread only.
    std::uint8_t buttons = 0; // held now
    struct {
        int x;
        int y;
    } pointer;
    double restX = 0; // scrolled and not yet sent
    double restY = 0;

    // Session thread only. All compressed pixels of the connection are one stream.
    Inflater inflater;
    Scratch<std::uint32_t> decoded;

    mutable std::mutex stateLock;                // guards what follows
    bool pending = false;                        // an encode is scheduled
    std::optional<Clock::time_point> lastEncode; // when the last one began
    bool clipsync = false;                       // forward the remote clipboard
    bool stopping = false;

    // Last, so that it ends first: none of its tasks outlives what they touch.
    platform::SerialQueue encodeQueue{"orvel.vnc.encode"};
};

} // namespace orvel
