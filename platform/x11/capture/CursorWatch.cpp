#include "platform/x11/capture/CursorWatch.h"

#include <xcb/xinput.h>

namespace platform::x11 {
namespace {

void selectRawMotion(const Connection& connection) {
    if (!connection.has(&xcb_input_id))
        return;
    // Raw events of a pointer that another program has grabbed come since 2.1.
    reply(connection, xcb_input_xi_query_version_reply,
          xcb_input_xi_query_version(connection, 2, 2));
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } const selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
    xcb_input_xi_select_events(connection, connection.root(), 1, &selection.head);
}

} // namespace

std::unique_ptr<CursorWatch> CursorWatch::create(const Connection& connection,
                                                 EventHandlers& handlers) {
    if (!connection.has(&xcb_xfixes_id))
        return nullptr;
    return std::unique_ptr<CursorWatch>(new CursorWatch(connection, handlers));
}

CursorWatch::CursorWatch(const Connection& connection, EventHandlers& handlers)
    : connection(connection) {
    reply(connection, xcb_xfixes_query_version_reply, xcb_xfixes_query_version(connection, 5, 0));
    xcb_xfixes_select_cursor_input(connection, connection.root(),
                                   XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    selectRawMotion(connection);
    handlers.on(event::cursorNotify, [this](const auto&) { imageChanged = true; });
    handlers.on(event::rawInput(XCB_INPUT_RAW_MOTION), [this](const auto&) { moved = true; });
}

void CursorWatch::ask() {
    moved = false;
    imageAsked = imageChanged;
    imageChanged = false;
    askedPlace = xcb_query_pointer(connection, connection.root());
    if (imageAsked)
        askedImage = xcb_xfixes_get_cursor_image(connection);
}

bool CursorWatch::answer() {
    const auto place = reply(connection, xcb_query_pointer_reply, askedPlace);
    const bool newImage = imageAsked && takeImage();
    covered = place && place->same_screen != 0 ? cursorImage.around(place->root_x, place->root_y)
                                               : Area{};
    return newImage;
}

bool CursorWatch::takeImage() {
    const auto answer = reply(connection, xcb_xfixes_get_cursor_image_reply, askedImage);
    if (!answer)
        return false;
    const auto* const pixels = xcb_xfixes_get_cursor_image_cursor_image(answer.get());
    const auto count = static_cast<std::size_t>(answer->width) * answer->height;
    // The length of a reply counts words behind its first 32 bytes.
    constexpr std::size_t headerBytes = sizeof(xcb_xfixes_get_cursor_image_reply_t);
    if (headerBytes + count * 4 > 32 + std::size_t{answer->length} * 4)
        return false;
    cursorImage = {
        answer->width, answer->height, answer->xhot, answer->yhot, {pixels, pixels + count}};
    return true;
}

} // namespace platform::x11
