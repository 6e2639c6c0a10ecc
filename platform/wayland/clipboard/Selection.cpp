#include "platform/wayland/clipboard/Selection.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace platform::wayland {
namespace {

/// As Wayland clients spell plain text, and as X clients do, whom the compositor translates for.
constexpr std::array textTypes{"text/plain;charset=utf-8", "text/plain", "UTF8_STRING", "STRING",
                               "TEXT"};
/// Browsers offer a few dozen types at most.
constexpr std::size_t maxTypes = 256;

} // namespace

bool Selection::isOfferedBy(const Connection& connection) {
    return connection.has(zwlr_data_control_manager_v1_interface) &&
           connection.has(wl_seat_interface);
}

Selection::Selection(const Connection& connection, wl_seat* seat, Handlers reports)
    : manager(
          connection.bind<zwlr_data_control_manager_v1>(zwlr_data_control_manager_v1_interface)),
      device(zwlr_data_control_manager_v1_get_data_device(manager.get(), seat)),
      mark("application/x-orvel-screen." + std::to_string(getpid())) {
    static constexpr zwlr_data_control_device_v1_listener listener{
        .data_offer = calls<&Selection::announced>,
        .selection = calls<&Selection::selected>,
        .finished = ignored,
        .primary_selection = calls<&Selection::selectedPrimary>,
    };
    zwlr_data_control_device_v1_add_listener(device.get(), &listener, this);
    connection.roundTrip();
    handlers = std::move(reports);
}

std::vector<std::string> Selection::types() const {
    return present ? present->types : std::vector<std::string>{};
}

bool Selection::isOwn() const {
    return present && std::ranges::find(present->types, mark) != present->types.end();
}

std::optional<std::string> Selection::ownText() const {
    return isOwn() ? std::optional(text) : std::nullopt;
}

void Selection::receive(const std::string& type, int file) const {
    if (present)
        zwlr_data_control_offer_v1_receive(present->proxy.get(), type.c_str(), file);
}

void Selection::offer(const std::string& newText) {
    static constexpr zwlr_data_control_source_v1_listener listener{
        .send = calls<&Selection::sent>,
        .cancelled = calls<&Selection::cancelled>,
    };
    Owned<zwlr_data_control_source_v1> next(
        zwlr_data_control_manager_v1_create_data_source(manager.get()));
    for (const auto* const type : textTypes)
        zwlr_data_control_source_v1_offer(next.get(), type);
    zwlr_data_control_source_v1_offer(next.get(), mark.c_str());
    zwlr_data_control_source_v1_add_listener(next.get(), &listener, this);
    zwlr_data_control_device_v1_set_selection(device.get(), next.get());
    source = std::move(next);
    text = newText;
}

void Selection::Offer::named(const char* type) {
    if (types.size() < maxTypes)
        types.emplace_back(type);
}

void Selection::announced(zwlr_data_control_offer_v1* proxy) {
    static constexpr zwlr_data_control_offer_v1_listener listener{.offer = calls<&Offer::named>};
    incoming = std::make_unique<Offer>();
    incoming->proxy.reset(proxy);
    zwlr_data_control_offer_v1_add_listener(proxy, &listener, incoming.get());
}

void Selection::selected(zwlr_data_control_offer_v1* proxy) {
    present = proxy ? std::move(incoming) : nullptr;
    if (!isOwn() && handlers.changed)
        handlers.changed();
}

void Selection::sent(const char*, int file) {
    handlers.pasted(text, file);
}

void Selection::cancelled() {
    source.reset();
}

} // namespace platform::wayland
