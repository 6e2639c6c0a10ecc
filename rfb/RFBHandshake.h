#pragma once

#include "rfb/RFBSocket.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// How a session with a VNC server begins: versions 3.3, 3.7 and 3.8 of the protocol, without a
/// sign-in or with a password (RFC 6143, section 7).
namespace orvel {

/// What the handshake found out.
struct RFBServer {
    int width = 0;        ///< Of the desktop in pixels, 1 to 8192.
    int height = 0;       ///< Likewise.
    std::string name;     ///< Of the desktop; may be empty.
    std::string security; ///< "none" or "vnc": the sign-in that was performed.
};

/// Agrees on a version, signs in and learns about the desktop, on a connection from which nothing
/// has been read. An empty password counts as none. Throws RFBError and leaves the connection to
/// its owner.
RFBServer rfbHandshake(RFBSocket& socket, const std::optional<std::string>& password);

/// The answer to a server's challenge: the challenge encrypted with the first eight characters of
/// the password, which is UTF-8.
std::array<std::uint8_t, 16> vncResponse(std::span<const std::uint8_t, 16> challenge,
                                         std::string_view password);

/// Asks for 32-bit pixels that lie in memory as blue, green, red and an unused byte, and for the
/// encodings that the session reads: ZRLE, CopyRect, Raw, DesktopSize. Throws RFBError.
void rfbSetup(RFBSocket& socket);

} // namespace orvel
