#pragma once

namespace orvel {

/// Who drives the machine: a person in front of it, or the phone. Pure; all times in seconds.
struct LocalUse {
    LocalUse() = delete;

    /// Local input younger than this silences the phone.
    static constexpr double hold = 2.0;
    /// Local input this soon after the program's own latest event is the echo of that event.
    static constexpr double echo = 0.1;
    /// The phone is told no more often than this.
    static constexpr double warnEvery = 2.0;

    /// Whether a person is at the machine, given the seconds since the last input there and since
    /// the program's own last event. Never once the phone has claimed priority.
    static constexpr bool ignoresPhone(double sinceLocal, double sincePosted, bool phoneFirst) {
        return !phoneFirst && sinceLocal < hold && sincePosted - sinceLocal > echo;
    }

    /// Whether to tell the phone (again), given the seconds since it was told.
    static constexpr bool warns(double sinceWarned) { return sinceWarned > warnEvery; }
};

} // namespace orvel
