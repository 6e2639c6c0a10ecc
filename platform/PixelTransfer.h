#pragma once

#include "platform/PixelBuffer.h"

namespace platform {

/// Scales whole pictures. Keeps its scratch memory between calls; used by one thread at a time.
class PixelTransferSession final {
public:
    PixelTransferSession();
    ~PixelTransferSession();
    PixelTransferSession(const PixelTransferSession&) = delete;
    PixelTransferSession& operator=(const PixelTransferSession&) = delete;

    /// Fills `target` with `source` scaled to its size, each pixel the average of what it covers,
    /// so that small text stays readable. Both are bgra. False, with `target` undefined, where a
    /// format does not fit or memory ran out.
    bool transfer(const PixelBuffer& source, PixelBuffer& target);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace platform
