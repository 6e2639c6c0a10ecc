#pragma once

#include "platform/Clock.h"
#include "platform/decisions/InputQueue.h"
#include "platform/decisions/KeyboardDevice.h"
#include "platform/decisions/PointerDevice.h"
#include "platform/decisions/TextTyper.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

namespace platform {

/// Carries out queued input events on a desktop's pointer and keyboard, one after the other.
/// Belongs to one thread, which performs what is due in each of its turns.
class InputPerformer {
public:
    /// What a desktop adds to its devices.
    struct Desktop {
        /// How fast the keys may follow each other that are typed next.
        std::function<InputQueue::Pace()> pace;
        /// Waits until the desktop has done what was asked of it.
        std::function<void()> settle;
    };
    /// The devices outlive the object.
    InputPerformer(PointerDevice& pointer, KeyboardDevice& keyboard, Desktop desktop);

    /// Queues events behind those before.
    void push(const std::vector<InputQueue::Event>& events);
    std::size_t waiting() const { return queue.size(); }

    /// See EventSource. Callable from any thread.
    void yieldToPeople(double echo) { secondsOfEcho = echo; }

    /// What a turn did.
    struct Done {
        bool any = false;
        std::size_t keys = 0; ///< That were typed.
    };
    /// Performs what is due, but not so much that the thread hears of nothing else for long.
    Done performDue();
    /// When to do so again, or to give the keyboard back as it was, if ever.
    std::optional<MediaTime> nextTurn(MediaTime now);

    /// Gives up what is queued, or only what is held, for a person who has pressed, or only moved,
    /// something, unless that is the echo of what was pushed last.
    void yieldTo(bool pressed);
    /// Leaves nothing behind on the desktop. Takes as long as clients need to read what was typed.
    void end();

private:
    void perform(const MouseEvent& event);
    void perform(const ScrollWheelEvent& event);
    void perform(const InputQueue::Tap& tap);
    void perform(const InputQueue::Text& text);
    void perform(const InputQueue::Marker& marker);
    void performed(TextTyper::Outcome outcome);

    PointerDevice& pointer;
    TextTyper typer;
    Desktop desktop;
    InputQueue queue;
    MediaTime lastPushed;
    Done done;
    std::atomic<double> secondsOfEcho = std::numeric_limits<double>::infinity();
};

} // namespace platform
