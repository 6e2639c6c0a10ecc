#pragma once

#include "platform/Wheel.h"
#include "rfb/Framebuffer.h"
#include "rfb/RFBSocket.h"

#include <nlohmann/json_fwd.hpp>

#include <atomic>
#include <cstdint>
#include <span>

namespace orvel {

/// Turns the phone's messages into those of an RFB client (RFC 6143, 7.5): pointer, keys and
/// clipboard. Belongs to the control thread.
class RemoteInput final {
public:
    /// Writes to the socket and reads the framebuffer's size; both must live longer. The pointer
    /// starts in the middle of the screen.
    RemoteInput(RFBSocket& sock, const Framebuffer& framebuffer);

    /// Carries out one message. What can't be sent is dropped, since the thread that reads the
    /// socket learns of a broken connection by itself.
    void handle(const nlohmann::json& message);

    /// Whether the phone wants to have what is copied on the remote desktop. Any thread.
    bool wantsClipboard() const { return clipsync; }

private:
    void move(const nlohmann::json& message);
    void button(const nlohmann::json& message, bool down);
    void click(const nlohmann::json& message);
    void clickMask(std::uint8_t mask);
    void scroll(const nlohmann::json& message);
    void turn(platform::Wheel& wheel, double pixels, std::uint8_t forward, std::uint8_t backward);
    void press(const nlohmann::json& message);
    void text(const nlohmann::json& message);
    void clip(const nlohmann::json& message);
    void setClipsync(const nlohmann::json& message);
    void pointerEvent();
    void key(std::uint32_t symbol, bool down);
    void typeKey(std::uint32_t symbol);
    void send(std::span<const std::uint8_t> message);

    RFBSocket& sock;
    const Framebuffer& framebuffer;
    std::uint8_t buttons = 0; // held now
    struct {
        int x;
        int y;
    } pointer;
    platform::Wheel vertical;
    platform::Wheel horizontal;
    std::atomic<bool> clipsync = false;
};

} // namespace orvel
