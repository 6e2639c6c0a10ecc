#include "rfb/RFBHandshake.h"

#include "app/host/Decimal.h"
#include "platform/Cipher.h"
#include "platform/Text.h"
#include "rfb/Framebuffer.h"
#include "rfb/RFBError.h"

#include <algorithm>

namespace orvel {
namespace {

// Security types (RFC 6143, 7.1.2), and the one by which a Mac asks for one of its accounts.
constexpr std::uint8_t noneType = 1;
constexpr std::uint8_t vncAuthenticationType = 2;
constexpr std::uint8_t macAccountType = 30;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string_view textOf(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The number in the three characters from `first` on, or in as many as there are.
std::optional<int> number(std::u32string_view greeting, std::size_t first) {
    std::string digits;
    for (const auto character : greeting.substr(std::min(first, greeting.size()), 3))
        digits.push_back(character < 0x80 ? static_cast<char>(character) : '?');
    return decimal<int>(digits);
}

int answeredMinor(int major, int minor) {
    if (major > 3 || minor > 7)
        return 8;
    return minor == 7 ? 7 : 3;
}

/// Reads the server's version and answers with the one to speak: 3.3, 3.7 or 3.8. Returns its
/// last digit.
int agreedMinor(RFBSocket& socket) {
    const auto greeting = platform::unicodeScalars(textOf(socket.bytes(12)));
    const auto major = number(greeting, 4);
    const auto minor = number(greeting, 8);
    if (!greeting.starts_with(U"RFB ") || !major || !minor)
        throw RFBError::broken("That is not a VNC server.");
    const int answer = answeredMinor(*major, *minor);
    socket.write(bytesOf("RFB 003.00" + std::to_string(answer) + "\n"));
    return answer;
}

RFBError unsupportedTypes(const std::string& types) {
    return RFBError::unsupported(
        "The VNC server asks for a sign-in this companion does not speak (" + types + ").");
}

std::string listed(std::span<const std::uint8_t> types) {
    std::string list;
    for (const auto type : types)
        list += (list.empty() ? "" : ", ") + std::to_string(type);
    return list;
}

std::uint8_t chosenType(std::span<const std::uint8_t> offered, bool havePassword) {
    const auto offers = [&](std::uint8_t type) {
        return std::ranges::find(offered, type) != offered.end();
    };
    if (offers(vncAuthenticationType) && (havePassword || !offers(noneType)))
        return vncAuthenticationType;
    if (offers(noneType))
        return noneType;
    if (offers(macAccountType))
        throw RFBError::unsupported(
            "This Mac's Screen Sharing asks for its own sign-in. Turn on \"VNC viewers may control "
            "the screen with password\" in its Screen Sharing settings.");
    throw unsupportedTypes(listed(offered));
}

/// Up to version 3.3 the server alone decides.
std::uint8_t typeChosenByServer(RFBSocket& socket) {
    const auto type = socket.u32();
    if (type == 0)
        throw RFBError::broken(socket.string());
    return static_cast<std::uint8_t>(type);
}

std::uint8_t typeChosenHere(RFBSocket& socket, bool havePassword) {
    const int count = socket.u8();
    if (count == 0)
        throw RFBError::broken(socket.string());
    const auto type = chosenType(socket.bytes(count), havePassword);
    socket.write({&type, 1});
    return type;
}

/// The reason of a refusal, which is clear enough without one: empty if it can't be read.
std::string refusalReason(RFBSocket& socket) {
    try {
        return socket.string();
    } catch (const RFBError&) {
        return {};
    }
}

void readSecurityResult(RFBSocket& socket, int minor) {
    if (socket.u32() == 0)
        return;
    const auto reason = minor == 8 ? refusalReason(socket) : std::string{};
    throw RFBError::auth(reason.empty() ? "The VNC password was not accepted."
                                        : "The VNC server refused the sign-in: " + reason);
}

void answerChallenge(RFBSocket& socket, std::string_view password) {
    if (password.empty())
        throw RFBError::auth("The VNC server asks for a password.");
    socket.write(vncResponse(socket.bytes(16).first<16>(), password));
}

/// Returns what was performed, in the words of `RFBServer::security`.
std::string signIn(RFBSocket& socket, int minor, std::string_view password) {
    const auto type =
        minor == 3 ? typeChosenByServer(socket) : typeChosenHere(socket, !password.empty());
    if (type == noneType) {
        // Older versions go on without a result if there was nothing to check.
        if (minor == 8)
            readSecurityResult(socket, minor);
        return "none";
    }
    if (type != vncAuthenticationType)
        throw unsupportedTypes(std::to_string(type));
    answerChallenge(socket, password);
    readSecurityResult(socket, minor);
    return "vnc";
}

RFBServer initialization(RFBSocket& socket, std::string security) {
    constexpr std::array<std::uint8_t, 1> shared{1}; // other viewers stay connected
    socket.write(shared);
    RFBServer server;
    server.width = socket.u16();
    server.height = socket.u16();
    socket.bytes(16); // the server's own pixel format, which rfbSetup replaces
    server.name = socket.string();
    server.security = std::move(security);
    if (!Framebuffer::isSide(server.width) || !Framebuffer::isSide(server.height))
        throw RFBError::broken("The remote desktop has no screen, or one too large.");
    return server;
}

std::uint8_t reversedBits(std::uint8_t byte) {
    std::uint8_t reversed = 0;
    for (int bit = 0; bit < 8; ++bit)
        reversed = static_cast<std::uint8_t>(reversed << 1 | (byte >> bit & 1));
    return reversed;
}

/// The low 8 bits of each of the first eight characters, put together where they stay, so that
/// nothing else has to be wiped. VNC takes the bits of a key byte in the order opposite to that of
/// DES.
std::array<std::uint8_t, 8> vncKey(std::string_view password) {
    std::array<std::uint8_t, 8> key{};
    std::size_t length = 0;
    for (const char character : password) {
        const auto byte = static_cast<std::uint8_t>(character);
        const bool continues = length > 0 && platform::continuesCharacter(character);
        if (continues)
            key[length - 1] = static_cast<std::uint8_t>(key[length - 1] << 6 | (byte & 0x3f));
        else if (length < key.size())
            key[length++] = byte;
        else
            break;
    }
    std::ranges::transform(key, key.begin(), reversedBits);
    return key;
}

} // namespace

RFBServer rfbHandshake(RFBSocket& socket, const std::optional<std::string>& password) {
    const int minor = agreedMinor(socket);
    auto security = signIn(socket, minor, password ? std::string_view(*password) : "");
    return initialization(socket, std::move(security));
}

std::array<std::uint8_t, 16> vncResponse(std::span<const std::uint8_t, 16> challenge,
                                         std::string_view password) {
    auto key = vncKey(password);
    std::array<std::uint8_t, 16> response{};
    std::ranges::copy(challenge, response.begin());
    platform::encryptDES(key, response);
    platform::wipe(std::as_writable_bytes(std::span(key)));
    return response;
}

void rfbSetup(RFBSocket& socket) {
    constexpr std::array<std::uint8_t, 20> setPixelFormat{
        0,  0,   0, 0,           // message type, padding
        32, 24,  0, 1,           // bits per pixel, depth, little-endian, true color
        0,  255, 0, 255, 0, 255, // maxima of red, green, blue
        16, 8,   0,              // shifts of red, green, blue
        0,  0,   0,              // padding
    };
    socket.write(setPixelFormat);
    constexpr std::array<std::uint8_t, 20> setEncodings{
        2,    0,    0,    4,    // message type, padding, count
        0,    0,    0,    16,   // ZRLE
        0,    0,    0,    1,    // CopyRect
        0,    0,    0,    0,    // Raw
        0xff, 0xff, 0xff, 0x21, // DesktopSize, -223
    };
    socket.write(setEncodings);
}

} // namespace orvel
