#pragma once

#include "support/XClient.h"

#include <functional>
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
    /// A target that it never answers; of increments it sends the first.
    std::string stalls{};
    std::string selection = "CLIPBOARD";
    std::function<void()> beforeAnswer{};
};

/// A program that owns a selection of a server while it lives.
class XOwner {
public:
    XOwner(const std::string& display, Copied copied);
    /// Ends like a program that crashes: in the middle of whatever it was handing over.
    ~XOwner();

    /// The targets it was asked for so far; "cut short" when the window is gone to which increments
    /// went.
    std::vector<std::string> requests() const;

private:
    struct Transfer {
        xcb_selection_request_event_t request;
        std::string rest;
    };
    void run();
    void note(const std::string& request);
    void answer(const xcb_selection_request_event_t& request);
    void put(const xcb_selection_request_event_t& request, const std::string& target);
    void change(const xcb_selection_request_event_t& request, xcb_atom_t type, int format,
                std::size_t count, const void* items) const;
    void continueTransfer(xcb_window_t requestor);

    XClient own;
    xcb_window_t window;
    Copied copied;
    std::map<xcb_window_t, Transfer> transfers; // by requestor
    mutable std::mutex lock;
    std::vector<std::string> asked; // under lock
    std::thread thread;
};

} // namespace test
