#pragma once

#include <chrono>
#include <memory>
#include <optional>

namespace orvel {

/// Sees to it that the process does not outlive the application that started it, whatever its other
/// threads wait for: a server that is mute, a name that is being resolved, a desktop that is stuck.
/// Watches on a thread of its own, from the construction to the end of the process.
///
/// When nobody can read standard output any more, the process ends at once. When standard input has
/// ended, the command ends by itself; a command that has said how long it needs for that is ended
/// after this time, behind the frames queued so far.
class HostWatch final {
public:
    explicit HostWatch(std::optional<std::chrono::milliseconds> patience = std::nullopt);

    /// How long the command needs from now on, if standard input has ended already, or from its
    /// end. Any thread.
    void setPatience(std::chrono::milliseconds patience);

private:
    struct State;
    std::shared_ptr<State> state;
};

} // namespace orvel
