#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Input events that this process makes, and how long ago anybody made one.
namespace platform {

/// In points of the desktop's coordinate space, y growing downwards.
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

enum class MouseButton : std::uint32_t { left = 0, right = 1, center = 2 };

enum class MouseEventType : std::uint32_t {
    leftDown = 1,
    leftUp = 2,
    rightDown = 3,
    rightUp = 4,
    moved = 5,
    leftDragged = 6,
    rightDragged = 7,
    otherDown = 25,
    otherUp = 26,
    otherDragged = 27,
};

/// The pointer goes to `location`, if it is not there, and the button acts there.
struct MouseEvent {
    MouseEventType type = MouseEventType::moved;
    Point location;
    MouseButton button = MouseButton::left;
    /// Field 1: 2 for the second click of a double-click. A desktop that counts clicks itself, as
    /// X clients do, has no use for it.
    std::optional<std::int64_t> clickState;
};

/// Scrolls what is under `location`. A desktop with a wheel of clicks turns it as far as the pixels
/// reach and keeps the rest for the next event; it has no use for the phases.
struct ScrollWheelEvent {
    std::int32_t wheel1 = 0; ///< Vertical pixels; positive shows what is above.
    std::int32_t wheel2 = 0; ///< Horizontal pixels; positive shows what is to the left.
    Point location;
    std::int64_t continuous = 0;               ///< Field 88: 1 for pixels of a touch surface.
    std::optional<std::int64_t> scrollPhase;   ///< Field 99.
    std::optional<std::int64_t> momentumPhase; ///< Field 123.
};

/// Modifiers that hold for one keyboard event, as a set of bits.
using EventFlags = std::uint64_t;
namespace flag {
constexpr EventFlags shift = 0x20000;
constexpr EventFlags control = 0x40000;
constexpr EventFlags option = 0x80000;
constexpr EventFlags command = 0x100000;
constexpr EventFlags function = 0x800000;
} // namespace flag

/// The position of a key on an ANSI keyboard (0 is A), which stands for the character there:
/// on another layout it is the key that gives this character.
using VirtualKey = std::uint16_t;

/// One key going down or up with these modifiers. All of it happens when the key goes down: the key
/// is pressed and released at once, so that none can stay down. With a Unicode string it types that
/// text whatever the keyboard has on its keys; line feeds and tabs are typed with their keys.
struct KeyboardEvent {
    VirtualKey virtualKey = 0;
    bool keyDown = false;
    EventFlags flags = 0;
    std::u16string unicodeString;
};

/// Where this process's input events come from. Used by one thread, which never waits for the
/// desktop: events are queued and arrive in the order in which they were posted.
///
/// However the process ends (short of being killed), no key and no button stays pressed and the
/// keyboard is as it was.
class EventSource final {
public:
    /// A source with its own private state. Returns nullptr if this desktop takes no events.
    static std::unique_ptr<EventSource> create();
    ~EventSource(); ///< Gives up what is still to be typed.
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;

    /// Queues the event until `flush`. Returns false if it can't be queued: too many wait already.
    bool post(const MouseEvent& event);
    bool post(const ScrollWheelEvent& event);
    bool post(KeyboardEvent event);
    /// Lets what was posted go to the desktop, in one write if nothing waits before it.
    void flush();

    /// Waits until everything that was posted has arrived, no longer than `limit`.
    void finish(std::chrono::milliseconds limit);

    /// What a person does later than `echo` seconds after the last post takes the desktop back:
    /// what is held is released and, once a key or button is pressed, what is queued is given up.
    /// With infinity, as at first, this source goes before people.
    void yieldToPeople(double echo);

    /// Seconds since the last input that did not come from this source, screen-saver resets aside;
    /// infinite if there has been none.
    double secondsSinceLastInput();

private:
    struct State;
    explicit EventSource(std::unique_ptr<State> state);
    std::unique_ptr<State> state;
};

} // namespace platform
