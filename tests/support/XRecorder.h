#pragma once

#include "support/XClient.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace test {

/// An input event as a client gets it.
struct XInput {
    enum class Kind { keyPress, keyRelease, buttonPress, buttonRelease, motion };
    Kind kind;
    int detail;         ///< Keycode or button.
    unsigned state;     ///< Modifiers and buttons before the event, as X's mask.
    int x, y;           ///< On the root window.
    std::string text{}; ///< What the key types, UTF-8; empty for other events.
    std::string name{}; ///< The keysym's name, with the level shifts of the keyboard applied.
    std::chrono::steady_clock::time_point arrived{};
};

/// A window with the focus that records its input, on a thread of its own, as a toolkit would see
/// it: a key means what the keyboard's map says when the client gets round to the event, and each
/// change of the map makes it fetch the whole map.
class XRecorder {
public:
    XRecorder(const std::string& display, Box place);
    /// From now on the first key behind a change of the map is taken by the map before, as in
    /// browsers that are busy.
    void readMapLate() { readsLate = true; }
    ~XRecorder();

    std::vector<XInput> events() const;
    /// All events of this kind.
    std::vector<XInput> events(XInput::Kind kind) const;
    /// All that was typed.
    std::string text() const;
    void forget();

    const XClient& client() const { return own; }
    xcb_window_t window() const { return shown; }

private:
    void run();
    /// False if it is the message from the destructor.
    void record(const xcb_generic_event_t& event);
    /// What the key means by the map as it is now.
    void nameKey(XInput& key);
    void fetchMap();

    XClient own;
    xcb_window_t shown;
    std::unique_ptr<xkb_context, void (*)(xkb_context*)> context;
    std::unique_ptr<xkb_keymap, void (*)(xkb_keymap*)> map;
    std::unique_ptr<xkb_state, void (*)(xkb_state*)> state;
    std::int32_t keyboard;
    std::uint8_t firstKeyboardEvent = 0;
    bool mapIsOld = true;
    std::atomic<bool> readsLate = false;

    mutable std::mutex lock;
    std::vector<XInput> recorded; // under lock
    std::thread thread;
};

} // namespace test
