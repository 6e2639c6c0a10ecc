#include "platform/x11/clipboard/PasteboardThread.h"

#include "platform/x11/clipboard/HiddenWindow.h"

#include <xcb/xfixes.h>

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <utility>

namespace platform::x11 {
namespace {

/// Targets of one owner that are looked at; browsers offer a few dozen at most.
constexpr std::size_t maxTargets = 256;
/// How long a clipboard manager may hold up the end of the process.
constexpr auto maxHandover = std::chrono::milliseconds(500);

} // namespace

std::unique_ptr<PasteboardThread> PasteboardThread::start() {
    auto connection = Connection::open();
    if (!connection || !connection->has(&xcb_xfixes_id))
        return nullptr;
    return std::unique_ptr<PasteboardThread>(new PasteboardThread(std::move(connection)));
}

PasteboardThread::PasteboardThread(std::unique_ptr<Connection> open)
    : connection(std::move(open)),
      window(createHiddenWindow(*connection)),
      selection(connection->atom("CLIPBOARD")),
      clock(connection->atom("ORVEL_CLOCK")),
      targets(connection->atom("TARGETS")),
      owner(*connection, window, selection),
      reader(*connection, selection),
      handlers(*connection),
      loop(handlers),
      atExit([this] { leaveTextBehind(); }) {
    registerHandlers();
    reply(
        *connection, xcb_xfixes_query_version_reply,
        xcb_xfixes_query_version(*connection, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION));
    xcb_xfixes_select_selection_input(*connection, window, selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    // From here on no change is missed.
    roundTrip(*connection);
    thread = std::thread([this] {
        pthread_setname_np(pthread_self(), "orvel.clipboard");
        loop.run([this](MediaTime) { return makeTurn(); });
    });
}

PasteboardThread::~PasteboardThread() {
    loop.stop();
    thread.join();
}

void PasteboardThread::registerHandlers() {
    handlers.on(event::selectionRequest, [this](const auto& request) { owner.handle(request); });
    handlers.on(event::selectionClear, [this](const auto& clear, std::uint32_t sequence) {
        owner.handle(clear, sequence);
    });
    handlers.on(event::selectionNotify, [this](const auto& notify) {
        reader.handle(notify);
        if (notify.requestor == window && whenKept)
            std::exchange(whenKept, nullptr)();
    });
    handlers.on(event::propertyNotify, [this](const auto& change) {
        if (change.atom == clock)
            tellTime(change.time);
        else
            reader.handle(change);
    });
    handlers.on(event::selectionOwnerNotify, [this](const auto&) {
        // While the selection is ours, this is about our taking it, or about somebody before.
        if (owner.offers())
            return;
        ++count;
        forgetContents();
    });
}

EventLoop::Rest PasteboardThread::makeTurn() {
    if (connection->lost()) {
        reader.cancel();
        while (!waitingForTime.empty())
            tellTime(std::nullopt);
    }
    return {};
}

void PasteboardThread::types(std::int64_t change, const Pasteboard::TypesHandler& done) {
    const auto answered = [this, done](const Contents& contents) {
        offered = namesOf(contents);
        done(withCommonNames(offered));
    };
    const auto ask = [this, change, done, answered](std::optional<xcb_timestamp_t> time) {
        if (time && change == count)
            reader.fetch(targets, maxTargets * sizeof(xcb_atom_t), *time, answered);
        else
            done({});
    };
    loop.post([this, ask] { askForTime(ask); });
}

void PasteboardThread::string(std::int64_t change, std::size_t limit,
                              const Pasteboard::TextHandler& done) {
    loop.post([this, change, limit, done] {
        if (change != count)
            done(std::nullopt);
        else
            fetchText(targetsToAsk(offered), limit, done);
    });
}

void PasteboardThread::fetchText(std::vector<TextTarget> toAsk, std::size_t limit,
                                 const Pasteboard::TextHandler& done) {
    if (toAsk.empty())
        return done(std::nullopt);
    const auto target = toAsk.front();
    toAsk.erase(toAsk.begin());
    const auto answered = [this, target, toAsk, limit, done](const Contents& contents) {
        if (contents.outcome == SelectionReader::Outcome::refused)
            fetchText(toAsk, limit, done);
        else if (contents.outcome == SelectionReader::Outcome::received && contents.format == 8)
            done(textFrom(contents.bytes, target.form));
        else
            done(std::nullopt);
    };
    // A character more than the limit, so that the one at the limit is whole: what comes behind may
    // be broken.
    constexpr std::size_t maxCharacterLength = 4;
    const auto ask = [this, change = count.load(), limit, done, target,
                      answered](std::optional<xcb_timestamp_t> time) {
        if (time && change == count)
            reader.fetch(connection->atom(target.name), limit + maxCharacterLength, *time,
                         answered);
        else
            done(std::nullopt);
    };
    askForTime(ask);
}

std::vector<std::string> PasteboardThread::namesOf(const Contents& contents) const {
    if (contents.format != 32)
        return {};
    std::vector<xcb_atom_t> atoms(std::min(contents.bytes.size() / sizeof(xcb_atom_t), maxTargets));
    std::memcpy(atoms.data(), contents.bytes.data(), atoms.size() * sizeof(xcb_atom_t));
    std::vector<xcb_get_atom_name_cookie_t> questions;
    questions.reserve(atoms.size());
    for (const auto atom : atoms)
        questions.push_back(xcb_get_atom_name(*connection, atom));
    std::vector<std::string> names;
    for (const auto question : questions)
        if (const auto answer = reply(*connection, xcb_get_atom_name_reply, question))
            names.emplace_back(
                xcb_get_atom_name_name(answer.get()),
                static_cast<std::size_t>(xcb_get_atom_name_name_length(answer.get())));
    return names;
}

void PasteboardThread::setString(const std::string& text) {
    ++count;
    loop.post([this, text] {
        askForTime([this, text](std::optional<xcb_timestamp_t> time) {
            if (time && owner.offer(text, *time))
                forgetContents();
        });
    });
}

void PasteboardThread::forgetContents() {
    reader.cancel();
    offered.clear();
}

void PasteboardThread::leaveTextBehind() {
    const auto kept = std::make_shared<std::promise<void>>();
    const auto ask = [this, kept](std::optional<xcb_timestamp_t> time) {
        whenKept = [kept] { kept->set_value(); };
        if (time && owner.offers())
            owner.askManagerToKeep(*time);
        else
            std::exchange(whenKept, nullptr)();
    };
    loop.post([this, ask] { askForTime(ask); });
    kept->get_future().wait_for(maxHandover);
}
void PasteboardThread::askForTime(UseOfTime use) {
    waitingForTime.push_back(std::move(use));
    xcb_change_property(*connection, XCB_PROP_MODE_APPEND, window, clock, XCB_ATOM_INTEGER, 32, 0,
                        nullptr);
}

void PasteboardThread::tellTime(std::optional<xcb_timestamp_t> time) {
    if (waitingForTime.empty())
        return;
    const auto use = std::move(waitingForTime.front());
    waitingForTime.pop_front();
    use(time);
}

} // namespace platform::x11
