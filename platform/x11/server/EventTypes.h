#pragma once

#include "platform/x11/server/Xkb.h"

#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

/// The events that this program handles: which number stands for which structure.
namespace platform::x11 {

template<class Event>
struct EventType {
    int number;                           ///< Of an extension's event: counted from its first one.
    xcb_extension_t* extension = nullptr; ///< That it belongs to; nullptr: the core protocol.
    bool generic = false;                 ///< Whether it is one of the X Generic Event Extension.
};

namespace event {

inline constexpr EventType<xcb_create_notify_event_t> createNotify{XCB_CREATE_NOTIFY};
inline constexpr EventType<xcb_destroy_notify_event_t> destroyNotify{XCB_DESTROY_NOTIFY};
inline constexpr EventType<xcb_unmap_notify_event_t> unmapNotify{XCB_UNMAP_NOTIFY};
inline constexpr EventType<xcb_map_notify_event_t> mapNotify{XCB_MAP_NOTIFY};
inline constexpr EventType<xcb_reparent_notify_event_t> reparentNotify{XCB_REPARENT_NOTIFY};
inline constexpr EventType<xcb_configure_notify_event_t> configureNotify{XCB_CONFIGURE_NOTIFY};
inline constexpr EventType<xcb_circulate_notify_event_t> circulateNotify{XCB_CIRCULATE_NOTIFY};
inline constexpr EventType<xcb_property_notify_event_t> propertyNotify{XCB_PROPERTY_NOTIFY};
inline constexpr EventType<xcb_selection_clear_event_t> selectionClear{XCB_SELECTION_CLEAR};
inline constexpr EventType<xcb_selection_request_event_t> selectionRequest{XCB_SELECTION_REQUEST};
inline constexpr EventType<xcb_selection_notify_event_t> selectionNotify{XCB_SELECTION_NOTIFY};
inline constexpr EventType<xcb_mapping_notify_event_t> mappingNotify{XCB_MAPPING_NOTIFY};

inline constexpr EventType<xcb_damage_notify_event_t> damageNotify{XCB_DAMAGE_NOTIFY,
                                                                   &xcb_damage_id};
inline constexpr EventType<xcb_randr_screen_change_notify_event_t> randrScreenChange{
    XCB_RANDR_SCREEN_CHANGE_NOTIFY, &xcb_randr_id};
inline constexpr EventType<xcb_randr_notify_event_t> randrNotify{XCB_RANDR_NOTIFY, &xcb_randr_id};
inline constexpr EventType<xcb_xfixes_selection_notify_event_t> selectionOwnerNotify{
    XCB_XFIXES_SELECTION_NOTIFY, &xcb_xfixes_id};
inline constexpr EventType<xcb_xfixes_cursor_notify_event_t> cursorNotify{XCB_XFIXES_CURSOR_NOTIFY,
                                                                          &xcb_xfixes_id};
/// Any event of XKB: they share a number, and `xkbType` tells them apart.
inline constexpr EventType<xcb_xkb_map_notify_event_t> xkbNotify{0, &xcb_xkb_id};

/// Raw events of XInput 2 all begin alike. `number`: such as XCB_INPUT_RAW_MOTION.
constexpr EventType<xcb_input_raw_button_press_event_t> rawInput(int number) {
    return {number, &xcb_input_id, true};
}

} // namespace event
} // namespace platform::x11
