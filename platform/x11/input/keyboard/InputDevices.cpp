#include "platform/x11/input/keyboard/InputDevices.h"

#include "platform/x11/input/keyboard/Xkb.h"

#include <xcb/xinput.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <string_view>

namespace platform::x11 {
namespace {

std::optional<std::uint16_t> desktopKeyboard(const Connection& connection) {
    const auto answer = reply(connection, xcb_xkb_get_state_reply,
                              xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD));
    return answer ? std::optional<std::uint16_t>(answer->deviceID) : std::nullopt;
}

bool isTestKeyboard(const xcb_input_xi_device_info_t& info, std::uint16_t desktop) {
    const std::string_view name(
        xcb_input_xi_device_info_name(&info),
        static_cast<std::size_t>(xcb_input_xi_device_info_name_length(&info)));
    return info.type == XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD && info.attachment == desktop &&
           name.ends_with("XTEST keyboard");
}

} // namespace

std::optional<Keyboards> findKeyboards(const Connection& connection) {
    if (xkb_x11_setup_xkb_extension(
            connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr) == 0 ||
        !connection.has(&xcb_input_id))
        return std::nullopt;
    reply(connection, xcb_input_xi_query_version_reply,
          xcb_input_xi_query_version(connection, 2, 2));
    const auto desktop = desktopKeyboard(connection);
    const auto devices = reply(connection, xcb_input_xi_query_device_reply,
                               xcb_input_xi_query_device(connection, XCB_INPUT_DEVICE_ALL));
    if (!desktop || !devices)
        return std::nullopt;
    for (auto device = xcb_input_xi_query_device_infos_iterator(devices.get()); device.rem > 0;
         xcb_input_xi_device_info_next(&device))
        if (isTestKeyboard(*device.data, *desktop))
            return Keyboards{*desktop, device.data->deviceid};
    return std::nullopt;
}

} // namespace platform::x11
