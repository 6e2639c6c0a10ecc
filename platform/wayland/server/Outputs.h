#pragma once

#include "platform/Screens.h"
#include "platform/wayland/server/Connection.h"

#include <xdg-output-unstable-v1-client-protocol.h>

#include <map>
#include <string>
#include <vector>

namespace platform::wayland {

template<>
inline void destroy(wl_output* proxy) {
    wl_output_destroy(proxy);
}
template<>
inline void destroy(zxdg_output_manager_v1* proxy) {
    zxdg_output_manager_v1_destroy(proxy);
}
template<>
inline void destroy(zxdg_output_v1* proxy) {
    zxdg_output_v1_destroy(proxy);
}

/// A monitor as the compositor describes it.
struct Output {
    wl_output* proxy = nullptr;
    std::string name; ///< Of its connector, such as "DP-1".
    DisplayID id = 0;
    Rect bounds;   ///< In points of the desktop's coordinate space.
    int width = 0; ///< Of its mode, in pixels as the hardware has them: not turned upright.
    int height = 0;
    int transform = WL_OUTPUT_TRANSFORM_NORMAL; ///< How the desktop is turned to be shown there.

    /// Of the desktop's picture on it, upright.
    int pixelWidth() const { return (transform & WL_OUTPUT_TRANSFORM_90) != 0 ? height : width; }
};

/// Knows the compositor's outputs (wl_output, xdg-output). Belongs to the connection's thread.
class Outputs {
public:
    /// The connection outlives the object. The compositor offers what `areOfferedBy` asks for.
    explicit Outputs(const Connection& connection);
    static bool areOfferedBy(const Connection& connection);

    /// Follows the connection's events so far. Returns true if there is a new output, of which more
    /// will be known after a round trip.
    bool update();
    /// In the compositor's order, those of which everything was told.
    std::vector<Output> present() const;

private:
    struct Entry {
        Owned<wl_output> proxy;
        Owned<zxdg_output_v1> extended;
        Output output;

        void turned(int x, int y, int widthInMM, int heightInMM, int subpixel, const char* make,
                    const char* model, int transform);
        void sized(std::uint32_t flags, int width, int height, int refresh);
        void placed(int x, int y);
        void scaled(int width, int height);
        void named(const char* name);
        void listen();
    };

    const Connection& connection;
    Owned<zxdg_output_manager_v1> manager;
    std::map<std::uint32_t, Entry> entries; // by the number of the global object
};

} // namespace platform::wayland
