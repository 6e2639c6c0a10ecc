#include "rfb/VNCSession.h"

#include "clipboard/Clipboard.h"
#include "rfb/RFBError.h"
#include "rfb/ZRLE.h"

#include <algorithm>
#include <array>

namespace orvel {
namespace {

enum class ServerMessage : std::uint8_t {
    framebufferUpdate = 0,
    setColourMapEntries = 1,
    bell = 2,
    serverCutText = 3,
};

constexpr std::int32_t rawEncoding = 0;
constexpr std::int32_t copyRectEncoding = 1;
constexpr std::int32_t zrleEncoding = 16;
constexpr std::int32_t desktopSizeEncoding = -223;

/// Raw pixels go into the framebuffer in parts of about this many bytes, which stay in the
/// processor's cache meanwhile and need no memory for the whole.
constexpr int mostAtOnce = 131072;

/// Far beyond what the largest screen compresses to.
constexpr std::uint32_t largestZRLE = 64 << 20;
/// Far beyond what anybody pastes.
constexpr std::uint32_t largestCutText = 4 << 20;

/// ISO 8859-1 as UTF-8, no more than the clipboard takes.
Bytes clipboardText(std::span<const std::uint8_t> latin1) {
    Bytes text;
    text.reserve(std::min(latin1.size() * 2, Clipboard::most + 1));
    for (const auto character : latin1) {
        if (text.size() >= Clipboard::most)
            break;
        if (character >= 0x80)
            text.push_back(static_cast<std::uint8_t>(0xC0 | character >> 6));
        text.push_back(character < 0x80 ? character
                                        : static_cast<std::uint8_t>(0x80 | (character & 0x3F)));
    }
    text.resize(std::min(text.size(), Clipboard::most));
    return text;
}

} // namespace

VNCSession::VNCSession(std::unique_ptr<RFBSocket> sock, const RFBServer& server, int fps, int kbps,
                       int maxw)
    : sock(std::move(sock)),
      fb(server.width, server.height),
      name(server.name),
      fps(fps),
      maxw(maxw),
      kbps(kbps),
      pointer{server.width / 2, server.height / 2} {}

VNCSession::~VNCSession() = default;

void VNCSession::run() {
    request(false);
    while (true) {
        const auto type = sock->u8();
        switch (static_cast<ServerMessage>(type)) {
        case ServerMessage::framebufferUpdate:
            framebufferUpdate();
            break;
        case ServerMessage::setColourMapEntries:
            skipColourMap();
            break;
        case ServerMessage::bell:
            break;
        case ServerMessage::serverCutText:
            serverCutText();
            break;
        default:
            throw RFBError::broken("The remote desktop sent a message this client does not read (" +
                                   std::to_string(type) + ").");
        }
    }
}

void VNCSession::request(bool incremental) {
    constexpr std::uint8_t framebufferUpdateRequest = 3;
    const auto [w, h] = screenSize();
    const auto width = be16(w);
    const auto height = be16(h);
    sock->write(std::array<std::uint8_t, 10>{framebufferUpdateRequest,
                                             static_cast<std::uint8_t>(incremental ? 1 : 0), 0, 0,
                                             0, 0, width[0], width[1], height[0], height[1]});
}

VNCSession::Size VNCSession::screenSize() {
    const std::lock_guard guard(fb.lock);
    return {fb.width, fb.height};
}

void VNCSession::framebufferUpdate() {
    sock->u8();
    bool resized = false;
    for (int count = sock->u16(); count > 0; --count)
        if (rectangle())
            resized = true;
    if (resized) {
        announce();
        askKey();
    }
    changed();
    request(true);
}

bool VNCSession::rectangle() {
    // In the order of the wire, which arguments of one call would not have.
    const int x = sock->u16();
    const int y = sock->u16();
    const int w = sock->u16();
    const int h = sock->u16();
    const Rectangle target{x, y, w, h};
    const auto encoding = sock->i32();
    switch (encoding) {
    case rawEncoding:
        raw(target);
        return false;
    case copyRectEncoding:
        copyRect(target);
        return false;
    case zrleEncoding:
        zrle(target);
        return false;
    case desktopSizeEncoding:
        return desktopSize(target);
    default:
        throw RFBError::broken(
            "The remote desktop sent pixels in an encoding this client did not ask for (" +
            std::to_string(encoding) + ").");
    }
}

void VNCSession::requireOnScreen(const Rectangle& target) {
    const std::lock_guard guard(fb.lock);
    if (!fb.clipped(target.x, target.y, target.w, target.h))
        throw RFBError::broken("The remote desktop sent pixels outside its screen.");
}

void VNCSession::put(const Rectangle& target, std::span<const std::uint8_t> pixels) {
    const std::lock_guard guard(fb.lock);
    fb.put(target.x, target.y, target.w, target.h, pixels);
    transfer.changed(target.x, target.y, target.w, target.h);
}

void VNCSession::raw(const Rectangle& target) {
    requireOnScreen(target);
    const int rows = std::max(mostAtOnce / std::max(target.w * Framebuffer::bytesPerPixel, 1), 1);
    for (int y = 0; y < target.h; y += rows) {
        const Rectangle part{target.x, target.y + y, target.w, std::min(rows, target.h - y)};
        put(part, sock->bytes(std::ptrdiff_t{part.w} * part.h * Framebuffer::bytesPerPixel));
    }
}

void VNCSession::copyRect(const Rectangle& target) {
    requireOnScreen(target);
    const int fromX = sock->u16();
    const int fromY = sock->u16();
    const std::lock_guard guard(fb.lock);
    fb.copy(fromX, fromY, target.x, target.y, target.w, target.h);
    transfer.changed(target.x, target.y, target.w, target.h);
}

void VNCSession::zrle(const Rectangle& target) {
    requireOnScreen(target);
    const auto length = sock->u32();
    if (length > largestZRLE)
        throw RFBError::broken("The remote desktop sent ZRLE data too large.");
    const auto compressed = sock->bytes(length);
    const auto expected = std::ptrdiff_t{target.w} * target.h * Framebuffer::bytesPerPixel;
    zrleDecode(inflater.inflate(compressed, expected), target.w, target.h, decoded,
               [&](int y, int count, std::span<const std::uint8_t> pixels) {
                   put({target.x, target.y + y, target.w, count}, pixels);
               });
}

bool VNCSession::desktopSize(const Rectangle& target) {
    const auto allowed = [](int side) { return side >= 1 && side <= Framebuffer::longestSide; };
    if (!allowed(target.w) || !allowed(target.h))
        return false;
    fb.resize(target.w, target.h);
    return true;
}

void VNCSession::skipColourMap() {
    constexpr std::ptrdiff_t bytesPerColour = 6;
    sock->bytes(3);
    sock->bytes(sock->u16() * bytesPerColour);
}

void VNCSession::serverCutText() {
    sock->bytes(3);
    const auto length = sock->u32();
    if (length > largestCutText)
        throw RFBError::broken("The remote desktop sent a clipboard too large.");
    const auto text = sock->bytes(length);
    const auto wanted = [this] {
        const std::lock_guard guard(stateLock);
        return clipsync;
    };
    if (wanted())
        emit(FrameType::clipboard, clipboardText(text));
}

void VNCSession::stop() {
    {
        const std::lock_guard guard(stateLock);
        if (std::exchange(stopping, true))
            return;
    }
    encodeQueue.sync([this] {
        if (encoder)
            encoder->stop();
    });
    sock->close();
}

bool VNCSession::isStopping() const {
    const std::lock_guard guard(stateLock);
    return stopping;
}

} // namespace orvel
