#pragma once

#include "platform/Pasteboard.h"
#include "platform/Queue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// Keeps this machine's pasteboard and the phone's clipboard in step. What is copied here goes to
/// the phone once the phone has asked for it, unless the program it comes from marks it as private.
/// Belongs to the main thread; owned by shared_ptr.
class Clipboard : public std::enable_shared_from_this<Clipboard> {
public:
    /// Bytes of UTF-8 that go in either direction.
    static constexpr std::size_t most = 49152;

    /// What is on the pasteboard already counts as seen.
    Clipboard();

    /// Switches sending on or off. What is on the pasteboard already is not sent.
    void sync(bool on);

    /// Puts the phone's text on the pasteboard, cut at its last whole character within
    /// `most`. It is not sent back, not even once a clipboard manager has taken it over.
    void write(std::string_view text);

private:
    void poll();
    void fetch(std::int64_t change);
    void send(std::string_view text);

    platform::Pasteboard pasteboard;
    std::optional<platform::RepeatingTimer> timer; // while sending is on
    std::int64_t seen;                             // the last change that was dealt with
    std::optional<std::int64_t> awaited;           // the change whose contents were asked for
    std::string phoneText;                         // what the phone has, if it comes from there
};

} // namespace orvel
