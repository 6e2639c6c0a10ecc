#include "rfb/VNCSession.h"

#include "app/host/BigEndian.h"
#include "app/host/HostChannel.h"
#include "clipboard/Clipboard.h"
#include "platform/Text.h"
#include "rfb/RFBError.h"
#include "rfb/ZRLE.h"

#include <algorithm>
#include <array>
#include <string_view>

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
constexpr int maxPart = 131072;

/// Far beyond what the largest screen compresses to.
constexpr std::uint32_t maxZRLESize = 64 << 20;
/// Far beyond what anybody pastes.
constexpr std::uint32_t maxCutTextSize = 4 << 20;
/// Of all rectangles of one update together: the largest screen four times, usual ones a hundred
/// times. Sixteen bytes of a copy could keep us busy with a whole screen otherwise, and an update
/// has room for 65,535 of them.
constexpr std::int64_t maxPixels = std::int64_t{4} * Framebuffer::maxSide * Framebuffer::maxSide;

std::ptrdiff_t byteCount(const platform::Area& area) {
    return std::ptrdiff_t{area.width} * area.height * Framebuffer::bytesPerPixel;
}

/// ISO 8859-1 as UTF-8, no more than the clipboard takes.
Bytes clipboardText(std::span<const std::uint8_t> latin1) {
    const auto needed = latin1.first(std::min(latin1.size(), Clipboard::most));
    const auto text =
        platform::utf8FromLatin1({reinterpret_cast<const char*>(needed.data()), needed.size()});
    return {text.begin(),
            text.begin() + std::min(std::ssize(text), std::ptrdiff_t{Clipboard::most})};
}

} // namespace

VNCSession::VNCSession(std::unique_ptr<RFBSocket> socket, const RFBServer& server, int fps,
                       int kbps, int maxw)
    : sock(std::move(socket)),
      fb(server.width, server.height),
      video(fb, server.name, fps, kbps, maxw),
      input(*sock, fb) {}

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
    const auto [w, h] = fb.size();
    const auto width = be16(w);
    const auto height = be16(h);
    sock->write(std::array<std::uint8_t, 10>{framebufferUpdateRequest,
                                             static_cast<std::uint8_t>(incremental ? 1 : 0), 0, 0,
                                             0, 0, width[0], width[1], height[0], height[1]});
}

void VNCSession::framebufferUpdate() {
    sock->u8();
    pixelsLeft = maxPixels;
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
    const platform::Area target{x, y, w, h};
    const auto encoding = sock->i32();
    switch (encoding) {
    case rawEncoding:
    case copyRectEncoding:
    case zrleEncoding:
        draw(encoding, target);
        return false;
    case desktopSizeEncoding:
        return desktopSize(target);
    default:
        throw RFBError::broken(
            "The remote desktop sent pixels in an encoding this client did not ask for (" +
            std::to_string(encoding) + ").");
    }
}

void VNCSession::draw(std::int32_t encoding, const platform::Area& target) {
    if (!fb.clipped(target))
        throw RFBError::broken("The remote desktop sent pixels outside its screen.");
    pixelsLeft -= std::int64_t{target.width} * target.height;
    if (pixelsLeft < 0)
        throw RFBError::broken("The remote desktop sent more pixels than its picture holds.");
    if (encoding == rawEncoding)
        raw(target);
    else if (encoding == copyRectEncoding)
        copyRect(target);
    else
        zrle(target);
}

void VNCSession::raw(const platform::Area& target) {
    const int rows = std::max(maxPart / std::max(target.width * Framebuffer::bytesPerPixel, 1), 1);
    video.beginDrawing();
    for (int y = 0; y < target.height; y += rows) {
        const platform::Area part{target.x, target.y + y, target.width,
                                  std::min(rows, target.height - y)};
        fb.put(part, sock->bytes(byteCount(part)));
    }
    video.endDrawing(target);
}

void VNCSession::copyRect(const platform::Area& target) {
    const int fromX = sock->u16();
    const int fromY = sock->u16();
    video.beginDrawing();
    fb.copy(fromX, fromY, target);
    video.endDrawing(target);
}

void VNCSession::zrle(const platform::Area& target) {
    const auto length = sock->u32();
    if (length > maxZRLESize)
        throw RFBError::broken("The remote desktop sent ZRLE data too large.");
    const auto data = inflater.inflate(sock->bytes(length), byteCount(target));
    video.beginDrawing();
    zrleDecode(data, target.width, target.height, rowOfTiles,
               [&](int y, int count, std::span<const std::uint8_t> pixels) {
                   fb.put({target.x, target.y + y, target.width, count}, pixels);
               });
    video.endDrawing(target);
}

bool VNCSession::desktopSize(const platform::Area& target) {
    if (!Framebuffer::isSide(target.width) || !Framebuffer::isSide(target.height))
        return false;
    video.beginDrawing();
    fb.resize(target.width, target.height);
    video.endDrawing({0, 0, target.width, target.height});
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
    if (length > maxCutTextSize)
        throw RFBError::broken("The remote desktop sent a clipboard too large.");
    const auto text = sock->bytes(length);
    if (input.wantsClipboard())
        emit(FrameType::clipboard, clipboardText(text));
}

void VNCSession::stop() {
    if (stopping.exchange(true))
        return;
    video.stop();
    sock->close();
}

} // namespace orvel
