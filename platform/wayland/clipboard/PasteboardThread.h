#pragma once

#include "platform/Pasteboard.h"
#include "platform/decisions/SelectionText.h"
#include "platform/wayland/clipboard/Selection.h"
#include "platform/wayland/server/Connection.h"
#include "platform/wayland/server/EventLoop.h"
#include "platform/wayland/server/Seat.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace platform::wayland {

/// Keeps the compositor's selection in view and serves it, on a thread and a connection of its own,
/// so that neither a slow owner nor a slow reader holds anybody up. Its operations may be called
/// from any thread; answers come on this one.
class PasteboardThread {
public:
    /// Returns nullptr without a compositor that lets a program without windows do this.
    static std::unique_ptr<PasteboardThread> start();
    ~PasteboardThread();
    PasteboardThread(const PasteboardThread&) = delete;
    PasteboardThread& operator=(const PasteboardThread&) = delete;

    /// See Pasteboard.
    std::int64_t changeCount() const { return count; }
    void types(std::int64_t change, const Pasteboard::TypesHandler& done);
    void string(std::int64_t change, std::size_t limit, const Pasteboard::TextHandler& done);
    void setString(const std::string& text);

private:
    struct Reading;

    explicit PasteboardThread(std::unique_ptr<Connection> open);
    void changed();
    void read(const TextTarget& target, std::size_t limit, const Pasteboard::TextHandler& done);
    void cancelReading();
    void write(const std::string& text, int file);

    std::unique_ptr<Connection> connection;
    Owned<wl_seat> seat;
    EventLoop loop;
    Selection selection;
    std::weak_ptr<Reading> reading; // of the present contents, while it is under way

    std::atomic<std::int64_t> count = 0;
    std::thread thread;
};

} // namespace platform::wayland
