#include "support/XOwner.h"

#include <algorithm>
#include <array>

namespace test {

XOwner::XOwner(const std::string& display, Copied content)
    : own(display),
      window(own.createWindow({-1, -1, 1, 1})),
      copied(std::move(content)) {
    xcb_set_selection_owner(own.connection(), window, own.atom(copied.selection), XCB_CURRENT_TIME);
    own.sync();
    thread = std::thread([this] { run(); });
}

XOwner::~XOwner() {
    own.sayGoodbye(window);
    thread.join();
}

std::vector<std::string> XOwner::requests() const {
    const std::lock_guard locked(lock);
    return asked;
}

void XOwner::note(const std::string& request) {
    const std::lock_guard locked(lock);
    asked.push_back(request);
}

void XOwner::run() {
    while (const auto event = owned(xcb_wait_for_event(own.connection()))) {
        const auto number = event->response_type & 0x7f;
        const auto& change = as<xcb_property_notify_event_t>(*event);
        if (number == XCB_CLIENT_MESSAGE)
            return;
        if (number == XCB_SELECTION_REQUEST)
            answer(as<xcb_selection_request_event_t>(*event));
        else if (number == XCB_PROPERTY_NOTIFY && change.state == XCB_PROPERTY_DELETE)
            continueTransfer(change.window);
        else if (number == XCB_DESTROY_NOTIFY &&
                 transfers.erase(as<xcb_destroy_notify_event_t>(*event).window) > 0)
            note("cut short");
        xcb_flush(own.connection());
    }
}

void XOwner::answer(const xcb_selection_request_event_t& request) {
    const auto name = owned(xcb_get_atom_name_reply(
        own.connection(), xcb_get_atom_name(own.connection(), request.target), nullptr));
    const std::string target(xcb_get_atom_name_name(name.get()),
                             static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get())));
    note(target);
    if (copied.stalls == target && !copied.increment)
        return;
    if (copied.beforeAnswer)
        copied.beforeAnswer();
    const bool known = target == "TARGETS" || copied.contents.contains(target);
    if (known)
        put(request, target);
    const auto property = known ? request.property : xcb_atom_t{XCB_NONE};
    const xcb_selection_notify_event_t reply{
        XCB_SELECTION_NOTIFY, 0,       0, request.time, request.requestor, request.selection,
        request.target,       property};
    std::array<char, 32> bytes{};
    std::copy_n(reinterpret_cast<const char*>(&reply), sizeof reply, bytes.begin());
    xcb_send_event(own.connection(), 0, request.requestor, 0, bytes.data());
}

void XOwner::put(const xcb_selection_request_event_t& request, const std::string& target) {
    if (target == "TARGETS") {
        std::vector<xcb_atom_t> atoms{own.atom("TARGETS")};
        for (const auto& [name, content] : copied.contents)
            atoms.push_back(own.atom(name));
        return change(request, XCB_ATOM_ATOM, 32, atoms.size(), atoms.data());
    }
    const auto& content = copied.contents.at(target);
    if (!copied.increment)
        return change(request, request.target, 8, content.size(), content.data());
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(own.connection(), request.requestor, XCB_CW_EVENT_MASK, &events);
    const auto length = static_cast<std::uint32_t>(content.size());
    change(request, own.atom("INCR"), 32, 1, &length);
    transfers[request.requestor] = {request, content};
}

void XOwner::change(const xcb_selection_request_event_t& request, xcb_atom_t type, int format,
                    std::size_t count, const void* items) const {
    xcb_change_property(own.connection(), XCB_PROP_MODE_REPLACE, request.requestor,
                        request.property, type, static_cast<std::uint8_t>(format),
                        static_cast<std::uint32_t>(count), items);
}

void XOwner::continueTransfer(xcb_window_t requestor) {
    if (!transfers.contains(requestor))
        return;
    auto& [request, rest] = transfers.at(requestor);
    const auto length = std::min(*copied.increment, rest.size());
    change(request, request.target, 8, length, rest.data());
    rest.erase(0, length);
    if (length == 0 || !copied.stalls.empty())
        transfers.erase(requestor);
}

} // namespace test
