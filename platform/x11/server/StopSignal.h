#pragma once

#include "platform/Clock.h"

#include <optional>

namespace platform::x11 {

/// Lets any thread end the rest of one that waits for a connection.
class StopSignal {
public:
    /// Throws std::system_error.
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    /// For good.
    void set() const;
    bool isSet() const { return rest(-1, MediaTime{}); }

    /// Returns when the signal is set, `descriptor` (unless it is -1) can be read or has failed, or
    /// the time has come, if there is one. True if the signal is set.
    bool rest(int descriptor, std::optional<MediaTime> until) const;

private:
    int event;
};

} // namespace platform::x11
