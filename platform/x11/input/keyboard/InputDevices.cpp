#include "platform/x11/input/keyboard/InputDevices.h"

#include "platform/x11/server/Xkb.h"

#include <xcb/xinput.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <string_view>

namespace platform::x11 {
namespace {

std::string_view nameOf(const xcb_input_xi_device_info_t& info) {
    return {xcb_input_xi_device_info_name(&info),
            static_cast<std::size_t>(xcb_input_xi_device_info_name_length(&info))};
}

bool speaksXInput21(const Connection& connection) {
    if (!connection.has(&xcb_input_id))
        return false;
    const auto version = reply(connection, xcb_input_xi_query_version_reply,
                               xcb_input_xi_query_version(connection, 2, 2));
    return version && (version->major_version > 2 ||
                       (version->major_version == 2 && version->minor_version >= 1));
}

} // namespace

std::optional<InputDevices> findInputDevices(const Connection& connection) {
    if (xkb_x11_setup_xkb_extension(
            connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr) == 0)
        return std::nullopt;
    InputDevices devices;
    devices.keyboard = XCB_XKB_ID_USE_CORE_KBD;
    devices.reported = speaksXInput21(connection);
    const auto desktop = reply(connection, xcb_xkb_get_state_reply,
                               xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD));
    const auto all = devices.reported
                         ? reply(connection, xcb_input_xi_query_device_reply,
                                 xcb_input_xi_query_device(connection, XCB_INPUT_DEVICE_ALL))
                         : nullptr;
    if (!desktop || !all)
        return devices;
    for (auto device = xcb_input_xi_query_device_infos_iterator(all.get()); device.rem > 0;
         xcb_input_xi_device_info_next(&device)) {
        const auto& info = *device.data;
        const bool isKeyboard = nameOf(info).ends_with("XTEST keyboard");
        if (isKeyboard || nameOf(info).ends_with("XTEST pointer"))
            devices.simulated.insert(info.deviceid);
        if (isKeyboard && info.attachment == desktop->deviceID)
            devices.keyboard = info.deviceid;
    }
    return devices;
}

} // namespace platform::x11
