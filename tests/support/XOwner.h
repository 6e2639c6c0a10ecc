#pragma once

#include "support/XClient.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// What a program has copied, and how it behaves when somebody wants it.
struct Copied {
    std::map<std::string, std::string> contents; ///< By target.
    /// Bytes of an increment; without it everything is handed over at once.
    std::optional<std::size_t> increment{};
    /// Targets that it never answers, or whose increments stop after the first.
    std::vector<std::string> stalls{};
};

/// A program that owns the CLIPBOARD selection of a server while it lives.
class XOwner {
public:
    XOwner(const std::string& display, Copied copied);
    /// Ends like a program that crashes: in the middle of whatever it was handing over.
    ~XOwner();

    /// The targets it was asked for so far.
    std::vector<std::string> requests() const;

private:
    struct Transfer {
        xcb_window_t requestor;
        xcb_atom_t property;
        xcb_atom_t type;
        std::string rest;
        bool stalling;
    };
    void run();
    void answer(const xcb_selection_request_event_t& request);
    void put(const xcb_selection_request_event_t& request, const std::string& target);
    void continueTransfer(const xcb_property_notify_event_t& event);
    bool stalls(const std::string& target) const;

    XClient own;
    xcb_window_t window;
    Copied copied;
    std::vector<Transfer> transfers;
    mutable std::mutex lock;
    std::vector<std::string> asked; // under lock
    std::thread thread;
};

} // namespace test
