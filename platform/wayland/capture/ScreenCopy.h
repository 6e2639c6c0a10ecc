#pragma once

#include "platform/picture/Area.h"
#include "platform/picture/PixelLayout.h"
#include "platform/wayland/server/Connection.h"
#include "platform/wayland/server/Memory.h"

#include <wlr-screencopy-unstable-v1-client-protocol.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace platform::wayland {

template<>
inline void destroy(wl_shm* proxy) {
    wl_shm_destroy(proxy);
}
template<>
inline void destroy(wl_shm_pool* proxy) {
    wl_shm_pool_destroy(proxy);
}
template<>
inline void destroy(wl_buffer* proxy) {
    wl_buffer_destroy(proxy);
}
template<>
inline void destroy(zwlr_screencopy_manager_v1* proxy) {
    zwlr_screencopy_manager_v1_destroy(proxy);
}
template<>
inline void destroy(zwlr_screencopy_frame_v1* proxy) {
    zwlr_screencopy_frame_v1_destroy(proxy);
}

/// Has the compositor copy an output as soon as it has been drawn on (wlr-screencopy), into memory
/// of this process. One copy is asked for at a time; in between the compositor remembers what is
/// drawn. Belongs to the connection's thread.
class ScreenCopy {
public:
    /// The connection outlives the object, and its compositor offers the protocol.
    ScreenCopy(const Connection& connection, bool showsCursor);

    /// Asks for a copy, in the place of one that was asked for. It comes when anything was drawn on
    /// the output since the last one, or at once: the first time, and on request.
    void ask(wl_output* output, bool atOnce = false);
    /// Gives up the copy that was asked for.
    void cancel() { frame.reset(); }

    enum class State { idle, asked, arrived, failed };
    State state() const { return frame ? progress : State::idle; }

    /// The picture in a copy that has arrived, as the compositor keeps it: `turn` quarter turns and
    /// upside down in part. Checked to be all there.
    struct Shape {
        std::uint32_t format = 0; ///< As wl_shm names it.
        int width = 0;
        int height = 0;
        int bytesPerRow = 0;
        friend bool operator==(const Shape&, const Shape&) = default;
    };
    const Shape& shape() const { return held; }
    picture::PixelLayout layout() const { return *pixelLayout; }
    bool isUpsideDown() const { return upsideDown; }
    const std::uint8_t* data() const { return memory->data(); }
    /// Where it may differ from the copy before: in its own pixels, inside it.
    Area damage() const { return intersection(damaged, {0, 0, held.width, held.height}); }

private:
    void offered(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                 std::uint32_t bytesPerRow);
    void allOffered();
    void flagged(std::uint32_t flags);
    void drawn(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height);
    void ready(std::uint32_t secondsHigh, std::uint32_t secondsLow, std::uint32_t nanoseconds);
    void failed() { progress = State::failed; }
    bool allocate();

    Owned<wl_shm> sharing;
    Owned<zwlr_screencopy_manager_v1> manager;
    const bool showsCursor;
    bool waitsForDamage = true;
    Owned<zwlr_screencopy_frame_v1> frame;
    State progress = State::idle;
    std::optional<Shape> wanted; // by the compositor, for the copy that is asked for
    Shape held;                  // of what is in `memory`
    std::optional<picture::PixelLayout> pixelLayout;
    std::unique_ptr<Memory> memory;
    Owned<wl_buffer> buffer; // the compositor's name for `memory`
    bool upsideDown = false;
    Area damaged;
};

} // namespace platform::wayland
