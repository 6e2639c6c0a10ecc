#pragma once

#include "platform/Clock.h"
#include "platform/picture/Area.h"
#include "platform/wayland/capture/Toplevels.h"
#include "platform/wayland/server/Connection.h"
#include "platform/wayland/server/Outputs.h"
#include "platform/wayland/server/SwayTree.h"

#include <optional>
#include <string>
#include <vector>

namespace platform::wayland {

/// Knows what of an output must not be seen because windows of some applications are there. A
/// compositor copies the output as a whole, so these areas are to be covered; what is behind them
/// can't be had. Belongs to the connection's thread.
///
/// On sway the places of windows are known, but not those of menus and the like, which reach beyond
/// their window: it is the whole output while a window on it may have any (see WindowPlace). What a
/// window without the focus draws outside of its place, such as a popover that is still open, is
/// seen. Elsewhere it is the whole output while it shows such a window.
/// It is the whole output, too, for a moment after anything about these windows has changed:
/// compositors tell what they are about to show and may show for longer what they did before, or
/// let it fade away.
class Exclusion {
public:
    /// What `fill` puts in the place of the windows.
    static constexpr std::uint32_t plainColour = 0x303438;

    /// The connection outlives the object.
    Exclusion(const Connection& connection, const std::vector<std::string>& applications);

    /// Asks where the windows are: both before a copy is asked for and when one has arrived.
    void look(const Output& output, MediaTime now);
    /// What must not be seen of a copy if the last two looks were before and after it: in pixels
    /// of the upright picture, which has this size; areas that may overlap.
    std::vector<Area> hiddenAreas(const Output& output, const Area& whole) const;
    /// Whether there may be something else to hide than there was at the last look.
    bool lookIsDue(MediaTime now) const {
        return toplevels.changesOfAll() != knownOfAll || (settledAt && *settledAt <= now);
    }
    /// When a look will be due though nothing happens.
    std::optional<MediaTime> settlesAt() const { return settledAt; }

private:
    const Connection& connection;
    const std::vector<std::string> applications;
    Toplevels toplevels;
    std::uint64_t knownChanges = 0;
    std::uint64_t knownOfAll = 0;
    /// nullopt if they may be anywhere.
    std::optional<std::vector<WindowPlace>> places = std::vector<WindowPlace>{};
    std::optional<MediaTime> settledAt; ///< While it may show something else than it has told.
};

} // namespace platform::wayland
