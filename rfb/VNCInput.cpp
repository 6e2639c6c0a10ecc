#include "app/host/ControlMessages.h"
#include "clipboard/Clipboard.h"
#include "platform/Text.h"
#include "rfb/Keysyms.h"
#include "rfb/RFBError.h"
#include "rfb/VNCSession.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvel {
namespace {

constexpr std::uint8_t keyEventMessage = 4;
constexpr std::uint8_t pointerEventMessage = 5;
constexpr std::uint8_t clientCutTextMessage = 6;

constexpr std::uint8_t wheelUp = 8;
constexpr std::uint8_t wheelDown = 16;
constexpr std::uint8_t wheelLeft = 32;
constexpr std::uint8_t wheelRight = 64;
/// Scroll distance of one click of the wheel.
constexpr double pixelsPerClick = 40;
/// No gesture is longer; without a limit one message could keep the session busy for ever.
constexpr double mostClicks = 1000;
/// Longer texts would keep the keyboard busy for too long.
constexpr std::size_t longestText = 2000;

std::string buttonName(const nlohmann::json& message) {
    return stringField(message, "b").value_or("left");
}

} // namespace

void VNCSession::handle(const nlohmann::json& message) {
    using Handler = void (*)(VNCSession&, const nlohmann::json&);
    static constexpr std::array<std::pair<std::string_view, Handler>, 9> handlers{{
        {"move", [](auto& session, auto& fields) { session.move(fields); }},
        {"down", [](auto& session, auto& fields) { session.button(fields, true); }},
        {"up", [](auto& session, auto& fields) { session.button(fields, false); }},
        {"click", [](auto& session, auto& fields) { session.click(fields); }},
        {"scroll", [](auto& session, auto& fields) { session.scroll(fields); }},
        {"press", [](auto& session, auto& fields) { session.press(fields); }},
        {"text", [](auto& session, auto& fields) { session.text(fields); }},
        {"clip", [](auto& session, auto& fields) { session.clip(fields); }},
        {"clipsync", [](auto& session, auto& fields) { session.setClipsync(fields); }},
    }};
    const auto type = messageType(message);
    if (!type)
        return;
    const auto* const known =
        std::ranges::find(handlers, *type, [](const auto& entry) { return entry.first; });
    if (known != handlers.end())
        known->second(*this, message);
}

void VNCSession::move(const nlohmann::json& message) {
    const auto fraction = [&](const char* key) {
        return std::clamp(numberField(message, key).value_or(0.5), 0.0, 1.0);
    };
    const auto [w, h] = screenSize();
    pointer = {static_cast<int>(fraction("x") * (w - 1)),
               static_cast<int>(fraction("y") * (h - 1))};
    pointerEvent();
}

void VNCSession::button(const nlohmann::json& message, bool down) {
    const auto mask = buttonMask(buttonName(message));
    if (!mask)
        return;
    buttons = static_cast<std::uint8_t>(down ? buttons | *mask : buttons & ~*mask);
    pointerEvent();
}

void VNCSession::click(const nlohmann::json& message) {
    if (const auto mask = buttonMask(buttonName(message)))
        clickMask(*mask);
}

void VNCSession::clickMask(std::uint8_t mask) {
    buttons |= mask;
    pointerEvent();
    buttons &= static_cast<std::uint8_t>(~mask);
    pointerEvent();
}

void VNCSession::scroll(const nlohmann::json& message) {
    const auto add = [&](double& rest, const char* key) {
        constexpr double most = mostClicks * pixelsPerClick;
        rest = std::clamp(rest + numberField(message, key).value_or(0), -most, most);
    };
    add(restY, "dy");
    add(restX, "dx");
    wheel(restY, wheelDown, wheelUp);
    wheel(restX, wheelRight, wheelLeft);
}

void VNCSession::wheel(double& rest, std::uint8_t forward, std::uint8_t backward) {
    while (std::abs(rest) >= pixelsPerClick) {
        const bool ahead = rest > 0;
        rest += ahead ? -pixelsPerClick : pixelsPerClick;
        clickMask(ahead ? forward : backward);
    }
}

void VNCSession::press(const nlohmann::json& message) {
    const auto name = stringField(message, "k");
    if (!name)
        return;
    auto symbol = namedKeysym(*name);
    if (!symbol) {
        const auto scalars = platform::unicodeScalars(*name);
        if (scalars.size() != 1)
            return;
        symbol = keysym(scalars.front());
    }
    std::vector<std::uint32_t> modifiers;
    for (const auto& modifier : stringsField(message, "mods"))
        if (const auto modifierSymbol = modifierKeysym(modifier))
            modifiers.push_back(*modifierSymbol);
    for (const auto modifier : modifiers)
        key(modifier, true);
    typeKey(*symbol);
    for (auto modifier = modifiers.rbegin(); modifier != modifiers.rend(); ++modifier)
        key(*modifier, false);
}

void VNCSession::text(const nlohmann::json& message) {
    const auto text = stringField(message, "s");
    if (!text)
        return;
    auto scalars = platform::unicodeScalars(*text);
    scalars.resize(std::min(scalars.size(), longestText));
    for (const auto scalar : scalars)
        typeKey(keysym(scalar));
}

void VNCSession::clip(const nlohmann::json& message) {
    auto scalars = platform::unicodeScalars(stringField(message, "s").value_or(""));
    scalars.resize(std::min(scalars.size(), Clipboard::most));
    const auto length = be32(static_cast<std::uint32_t>(scalars.size()));
    Bytes bytes{clientCutTextMessage, 0, 0, 0, length[0], length[1], length[2], length[3]};
    bytes.reserve(bytes.size() + scalars.size());
    for (const auto scalar : scalars)
        bytes.push_back(scalar < 256 ? static_cast<std::uint8_t>(scalar) : std::uint8_t{'?'});
    send(bytes);
}

void VNCSession::setClipsync(const nlohmann::json& message) {
    const std::lock_guard guard(stateLock);
    clipsync = booleanField(message, "on").value_or(false);
}

void VNCSession::pointerEvent() {
    const auto x = be16(pointer.x);
    const auto y = be16(pointer.y);
    send(std::array{pointerEventMessage, buttons, x[0], x[1], y[0], y[1]});
}

void VNCSession::key(std::uint32_t symbol, bool down) {
    const auto [a, b, c, d] = be32(symbol);
    send(std::array<std::uint8_t, 8>{keyEventMessage, static_cast<std::uint8_t>(down ? 1 : 0), 0, 0,
                                     a, b, c, d});
}

void VNCSession::typeKey(std::uint32_t symbol) {
    key(symbol, true);
    key(symbol, false);
}

void VNCSession::send(std::span<const std::uint8_t> message) {
    try {
        sock->write(message);
    } catch (const RFBError&) {
        // The session thread meets the broken connection too, and reports it.
    }
}

} // namespace orvel
