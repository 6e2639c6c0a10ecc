#pragma once

#include "platform/Pasteboard.h"
#include "platform/decisions/SelectionText.h"
#include "platform/support/AtExit.h"
#include "platform/x11/clipboard/SelectionOwner.h"
#include "platform/x11/clipboard/SelectionReader.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventLoop.h"

#include <atomic>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace platform::x11 {

/// Keeps the CLIPBOARD selection in view and serves it, on a thread and a connection of its own,
/// so that neither a slow owner nor a slow reader holds anybody up. Its operations may be called
/// from any thread; answers come on this one.
class PasteboardThread {
public:
    /// Returns nullptr without a server or its XFIXES extension.
    static std::unique_ptr<PasteboardThread> start();
    ~PasteboardThread();
    PasteboardThread(const PasteboardThread&) = delete;
    PasteboardThread& operator=(const PasteboardThread&) = delete;

    std::int64_t changeCount() const { return count; }
    void types(std::int64_t change, const Pasteboard::TypesHandler& done);
    void string(std::int64_t change, std::size_t limit, const Pasteboard::TextHandler& done);
    void setString(const std::string& text);

private:
    using Contents = SelectionReader::Contents;
    using UseOfTime = std::function<void(std::optional<xcb_timestamp_t>)>;

    explicit PasteboardThread(std::unique_ptr<Connection> connection);
    void registerHandlers();
    EventLoop::Rest makeTurn();

    void forgetContents();
    void fetchText(std::vector<TextTarget> targets, std::size_t limit,
                   const Pasteboard::TextHandler& done);
    std::vector<std::string> namesOf(const Contents& contents) const;
    /// Calls `use` with the server's present time, which only an event tells; with nullopt if the
    /// server is gone.
    void askForTime(UseOfTime use);
    void tellTime(std::optional<xcb_timestamp_t> time);
    /// Has a clipboard manager keep our text for the time when nobody serves it any more. Returns
    /// when that is done, or takes too long.
    void leaveTextBehind();

    std::unique_ptr<Connection> connection;
    xcb_window_t window;
    xcb_atom_t selection;
    xcb_atom_t clock; // a property whose changes tell the time
    xcb_atom_t targets;
    SelectionOwner owner;
    SelectionReader reader;
    std::vector<std::string> offered; // types of the present contents, once asked for
    std::deque<UseOfTime> waitingForTime;
    std::function<void()> whenKept; // by the manager that was asked to keep our text

    std::atomic<std::int64_t> count = 0;
    EventHandlers handlers;
    EventLoop loop;
    std::thread thread;
    AtExit atExit; // last, so that it acts on nothing that is gone
};

} // namespace platform::x11
