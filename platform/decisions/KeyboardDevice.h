#pragma once

#include "platform/decisions/KeyMap.h"
#include "platform/decisions/KeyPlanner.h"

#include <optional>
#include <span>
#include <vector>

namespace platform {

/// A keyboard of this program's own on a desktop: keys that can be pressed, some of which can be
/// given symbols that the keyboard lacks. Belongs to one thread.
class KeyboardDevice {
public:
    KeyboardDevice() = default;
    virtual ~KeyboardDevice() = default;
    KeyboardDevice(const KeyboardDevice&) = delete;
    KeyboardDevice& operator=(const KeyboardDevice&) = delete;

    /// Reads the map again if somebody has changed it. Returns whether it has; then the spare keys
    /// may be others.
    virtual bool refresh() = 0;
    virtual std::vector<KeyPlanner::Spare> spares() const = 0;

    /// Makes the keyboard ready for typing: no modifier that a person holds or has latched turns
    /// the text into shortcuts. Returns what is locked.
    virtual Locks prepare() = 0;
    /// What its keys give, the spare ones aside.
    virtual const KeyMap& keyMap() const = 0;

    /// Whether whoever gets the keys may look up what they mean later than they are pressed, in the
    /// map as it is by then.
    virtual bool readersLag() const = 0;

    virtual void bind(std::span<const KeyPlanner::Binding> bindings) = 0;
    /// Takes all bindings away, so that the user's keymap is as it was.
    virtual void unbind() = 0;
    /// Presses and releases keys one after the other while `held` are down.
    virtual void tap(std::span<const std::optional<Stroke>> strokes,
                     std::span<const Keycode> held) = 0;
};

} // namespace platform
