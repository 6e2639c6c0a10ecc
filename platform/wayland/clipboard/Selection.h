#pragma once

#include "platform/wayland/server/Connection.h"

#include <wlr-data-control-unstable-v1-client-protocol.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform::wayland {

template<>
inline void destroy(zwlr_data_control_manager_v1* proxy) {
    zwlr_data_control_manager_v1_destroy(proxy);
}
template<>
inline void destroy(zwlr_data_control_device_v1* proxy) {
    zwlr_data_control_device_v1_destroy(proxy);
}
template<>
inline void destroy(zwlr_data_control_offer_v1* proxy) {
    zwlr_data_control_offer_v1_destroy(proxy);
}
template<>
inline void destroy(zwlr_data_control_source_v1* proxy) {
    zwlr_data_control_source_v1_destroy(proxy);
}

/// A seat's selection, as a program sees it that has no window (wlr-data-control-unstable-v1).
/// Belongs to the connection's thread.
class Selection {
public:
    struct Handlers {
        /// Somebody else has put something there, or taken it away.
        std::function<void()> changed;
        /// A program pastes the text that was offered: it reads it from this file, which is to be
        /// closed.
        std::function<void(const std::string& text, int file)> pasted;
    };

    static bool isOfferedBy(const Connection& connection);
    /// The connection and the seat outlive the object. Present contents are not reported.
    Selection(const Connection& connection, wl_seat* seat, Handlers handlers);
    ~Selection() = default;
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

    /// The MIME types of the contents; empty if there are none.
    std::vector<std::string> types() const;
    /// The text that was offered, if it is what is there.
    std::optional<std::string> ownText() const;

    /// Asks the owner to write the contents to a file, which may be closed afterwards.
    void receive(const std::string& type, int file) const;
    /// Puts a text there.
    void offer(const std::string& newText);

private:
    struct Offer {
        Owned<zwlr_data_control_offer_v1> proxy;
        std::vector<std::string> types;

        void named(const char* type);
    };
    bool isOwn() const;
    void announced(zwlr_data_control_offer_v1* proxy);
    void selected(zwlr_data_control_offer_v1* proxy);
    void selectedPrimary(zwlr_data_control_offer_v1*) { incoming.reset(); }
    void sent(const char* type, int file);
    void cancelled();

    Owned<zwlr_data_control_manager_v1> manager;
    Owned<zwlr_data_control_device_v1> device;
    Handlers handlers;
    const std::string mark;                    // a type that only this process offers
    std::unique_ptr<Offer> incoming;           // announced, and not said yet what for
    std::unique_ptr<Offer> present;            // what is there; nullptr if nothing
    std::string text;                          // that was offered last
    Owned<zwlr_data_control_source_v1> source; // that offers it
};

} // namespace platform::wayland
