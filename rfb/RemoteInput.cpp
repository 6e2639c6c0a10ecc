#include "rfb/RemoteInput.h"

#include "app/host/BigEndian.h"
#include "app/host/ControlMessages.h"
#include "app/host/HostChannel.h"
#include "clipboard/Clipboard.h"
#include "platform/Text.h"
#include "rfb/Keysyms.h"
#include "rfb/RFBError.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace orvel {
namespace {

constexpr std::uint8_t keyEventMessage = 4;
constexpr std::uint8_t pointerEventMessage = 5;
constexpr std::uint8_t clientCutTextMessage = 6;

constexpr std::uint8_t wheelUp = 8;
constexpr std::uint8_t wheelDown = 16;
constexpr std::uint8_t wheelLeft = 32;
constexpr std::uint8_t wheelRight = 64;
/// Longer texts would keep the keyboard busy for too long.
constexpr std::size_t maxTextLength = 2000;

std::optional<std::uint8_t> buttonMaskOf(const nlohmann::json& message) {
    return buttonMask(stringField(message, "b").value_or("left"));
}

/// The keysym of a key by its name, or of the one character that `name` is.
std::optional<std::uint32_t> keysymOf(const std::string& name) {
    if (const auto symbol = namedKeysym(name))
        return symbol;
    const auto scalars = platform::unicodeScalars(name);
    return scalars.size() == 1 ? std::optional(keysym(scalars.front())) : std::nullopt;
}

std::vector<std::uint32_t> modifierKeysyms(const nlohmann::json& message) {
    std::vector<std::uint32_t> symbols;
    for (const auto& name : stringsField(message, "mods"))
        if (const auto symbol = modifierKeysym(name))
            symbols.push_back(*symbol);
    return symbols;
}

} // namespace

RemoteInput::RemoteInput(RFBSocket& sock, const Framebuffer& framebuffer)
    : sock(sock),
      framebuffer(framebuffer),
      pointer{framebuffer.size().width / 2, framebuffer.size().height / 2} {}

void RemoteInput::handle(const nlohmann::json& message) {
    using Handler = void (*)(RemoteInput&, const nlohmann::json&);
    static constexpr std::array<std::pair<std::string_view, Handler>, 9> handlers{{
        {"move", [](auto& input, auto& fields) { input.move(fields); }},
        {"down", [](auto& input, auto& fields) { input.button(fields, true); }},
        {"up", [](auto& input, auto& fields) { input.button(fields, false); }},
        {"click", [](auto& input, auto& fields) { input.click(fields); }},
        {"scroll", [](auto& input, auto& fields) { input.scroll(fields); }},
        {"press", [](auto& input, auto& fields) { input.press(fields); }},
        {"text", [](auto& input, auto& fields) { input.text(fields); }},
        {"clip", [](auto& input, auto& fields) { input.clip(fields); }},
        {"clipsync", [](auto& input, auto& fields) { input.setClipsync(fields); }},
    }};
    const auto type = messageType(message);
    if (!type)
        return;
    const auto* const known =
        std::ranges::find(handlers, *type, [](const auto& entry) { return entry.first; });
    if (known != handlers.end())
        known->second(*this, message);
}

void RemoteInput::move(const nlohmann::json& message) {
    const auto fraction = [&](const char* key) {
        return std::clamp(numberField(message, key).value_or(0.5), 0.0, 1.0);
    };
    const auto [w, h] = framebuffer.size();
    pointer = {static_cast<int>(fraction("x") * (w - 1)),
               static_cast<int>(fraction("y") * (h - 1))};
    pointerEvent();
}

void RemoteInput::button(const nlohmann::json& message, bool down) {
    const auto mask = buttonMaskOf(message);
    if (!mask)
        return;
    buttons = static_cast<std::uint8_t>(down ? buttons | *mask : buttons & ~*mask);
    pointerEvent();
}

void RemoteInput::click(const nlohmann::json& message) {
    if (const auto mask = buttonMaskOf(message))
        clickMask(*mask);
}

void RemoteInput::clickMask(std::uint8_t mask) {
    buttons |= mask;
    pointerEvent();
    buttons &= static_cast<std::uint8_t>(~mask);
    pointerEvent();
}

void RemoteInput::scroll(const nlohmann::json& message) {
    turn(vertical, numberField(message, "dy").value_or(0), wheelDown, wheelUp);
    turn(horizontal, numberField(message, "dx").value_or(0), wheelRight, wheelLeft);
}

void RemoteInput::turn(platform::Wheel& wheel, double pixels, std::uint8_t forward,
                       std::uint8_t backward) {
    const int clicks = wheel.turn(pixels);
    for (int click = 0; click < std::abs(clicks); ++click)
        clickMask(clicks > 0 ? forward : backward);
}

void RemoteInput::press(const nlohmann::json& message) {
    const auto symbol = keysymOf(stringField(message, "k").value_or(""));
    if (!symbol)
        return;
    const auto modifiers = modifierKeysyms(message);
    for (const auto modifier : modifiers)
        key(modifier, true);
    typeKey(*symbol);
    for (auto modifier = modifiers.rbegin(); modifier != modifiers.rend(); ++modifier)
        key(*modifier, false);
}

void RemoteInput::text(const nlohmann::json& message) {
    auto scalars = platform::unicodeScalars(stringField(message, "s").value_or(""));
    scalars.resize(std::min(scalars.size(), maxTextLength));
    for (const auto scalar : scalars)
        typeKey(keysym(scalar));
}

void RemoteInput::clip(const nlohmann::json& message) {
    auto text = platform::latin1FromUTF8(stringField(message, "s").value_or(""));
    text.resize(std::min(text.size(), Clipboard::most));
    const auto length = be32(static_cast<std::uint32_t>(text.size()));
    Bytes bytes{clientCutTextMessage, 0, 0, 0, length[0], length[1], length[2], length[3]};
    bytes.insert(bytes.end(), text.begin(), text.end());
    send(bytes);
}

void RemoteInput::setClipsync(const nlohmann::json& message) {
    clipsync = booleanField(message, "on").value_or(false);
}

void RemoteInput::pointerEvent() {
    const auto x = be16(pointer.x);
    const auto y = be16(pointer.y);
    send(std::array{pointerEventMessage, buttons, x[0], x[1], y[0], y[1]});
}

void RemoteInput::key(std::uint32_t symbol, bool down) {
    const auto [a, b, c, d] = be32(symbol);
    send(std::array<std::uint8_t, 8>{keyEventMessage, static_cast<std::uint8_t>(down ? 1 : 0), 0, 0,
                                     a, b, c, d});
}

void RemoteInput::typeKey(std::uint32_t symbol) {
    key(symbol, true);
    key(symbol, false);
}

void RemoteInput::send(std::span<const std::uint8_t> message) {
    try {
        sock.write(message);
    } catch (const RFBError&) {
        // The session thread meets the broken connection too, and reports it.
    }
}

} // namespace orvel
