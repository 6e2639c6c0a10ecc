#include "platform/x11/clipboard/PasteboardThread.h"

#include "platform/Queue.h"

#include <xcb/xfixes.h>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <future>
#include <utility>

namespace platform::x11 {
namespace {

/// Targets of one owner that are looked at; browsers offer a few dozen at most.
constexpr std::size_t mostTargets = 256;

constexpr std::uint8_t eventNumber = 0x7f; // the top bit tells who sent the event

template<class Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

} // namespace

std::unique_ptr<PasteboardThread> PasteboardThread::start() {
    auto connection = Connection::open();
    if (!connection || !connection->has(&xcb_xfixes_id))
        return nullptr;
    return std::unique_ptr<PasteboardThread>(new PasteboardThread(std::move(connection)));
}

PasteboardThread::PasteboardThread(std::unique_ptr<Connection> open)
    : connection(std::move(open)),
      window(makeWindow(*connection)),
      selection(connection->atom("CLIPBOARD")),
      clock(connection->atom("ORVEL_CLOCK")),
      targets(connection->atom("TARGETS")),
      owner(*connection, window, selection),
      reader(*connection, window, selection),
      wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
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
        run();
    });
}

PasteboardThread::~PasteboardThread() {
    post([this] {
        const MutexLock locked(lock);
        ending = true;
    });
    thread.join();
    close(wakeUp);
}

xcb_window_t PasteboardThread::makeWindow(const Connection& connection) {
    const xcb_window_t window = xcb_generate_id(connection);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection, 0, window, connection.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                      &events);
    return window;
}

void PasteboardThread::types(std::int64_t change, const Pasteboard::TypesHandler& done) {
    const auto ask = [this, change, done] {
        const auto time = change == count ? serverTime() : std::nullopt;
        if (!time || change != count)
            return done({});
        const auto answered = [this, done](const Contents& contents) {
            unexplained = contents.outcome == SelectionReader::Outcome::stalled;
            known = namesOf(contents);
            done(withCommonNames(known));
        };
        reader.fetch(targets, mostTargets * sizeof(xcb_atom_t), *time, answered);
    };
    if (!post(ask))
        done({});
}

void PasteboardThread::string(std::int64_t change, std::size_t limit,
                              const Pasteboard::TextHandler& done) {
    const auto ask = [this, change, limit, done] {
        // What an owner has not said may be that its contents are private.
        if (change != count || unexplained)
            done(std::nullopt);
        else if (owner.offered())
            done(owner.offered());
        else
            fetchText(targetsToAsk(known), limit, done);
    };
    if (!post(ask))
        done(std::nullopt);
}

void PasteboardThread::fetchText(std::vector<TextTarget> toAsk, std::size_t limit,
                                 const Pasteboard::TextHandler& done) {
    const auto before = count.load();
    const auto time = toAsk.empty() ? std::nullopt : serverTime();
    if (!time || count != before)
        return done(std::nullopt);
    const auto target = toAsk.front();
    toAsk.erase(toAsk.begin());
    const auto answered = [this, target, toAsk, limit, done](const Contents& contents) {
        const bool cut = contents.outcome == SelectionReader::Outcome::cut;
        if (contents.outcome == SelectionReader::Outcome::refused)
            fetchText(toAsk, limit, done);
        else if (contents.format == 8 &&
                 (cut || contents.outcome == SelectionReader::Outcome::complete))
            done(textFrom(contents.bytes, target.form, cut));
        else
            done(std::nullopt);
    };
    // A character more than the limit, so that one at the limit is whole.
    constexpr std::size_t longestCharacter = 4;
    reader.fetch(connection->atom(target.name), limit + longestCharacter, *time, answered);
}

std::vector<std::string> PasteboardThread::namesOf(const Contents& contents) const {
    if (contents.format != 32)
        return {};
    std::vector<xcb_atom_t> atoms(
        std::min(contents.bytes.size() / sizeof(xcb_atom_t), mostTargets));
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
    std::promise<void> taken;
    auto answer = taken.get_future();
    const bool posted = post([&] {
        const auto time = serverTime();
        if (time && owner.offer(text, *time)) {
            reader.cancel();
            forgetTypes();
            ++count;
        }
        taken.set_value();
    });
    if (posted)
        answer.wait();
}

bool PasteboardThread::post(Command command) {
    const MutexLock locked(lock);
    if (ended)
        return false;
    commands.push_back(std::move(command));
    eventfd_write(wakeUp, 1);
    return true;
}

void PasteboardThread::run() {
    while (runCommands() && !connection->lost()) {
        while (!postponed.empty()) {
            const auto event = std::move(postponed.front());
            postponed.pop_front();
            handle(*event);
        }
        while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(*connection)})
            handle(*event);
        reader.giveUpIfStalled();
        xcb_flush(*connection);
        wait();
    }
    reader.cancel();
    {
        const MutexLock locked(lock);
        ended = true;
    }
    // Without a server each of them gives its answer for nothing to be had.
    runCommands();
}

bool PasteboardThread::runCommands() {
    std::deque<Command> due;
    {
        const MutexLock locked(lock);
        due.swap(commands);
    }
    for (const auto& command : due)
        command();
    const MutexLock locked(lock);
    return !ending;
}

void PasteboardThread::wait() {
    using namespace std::chrono;
    if (!postponed.empty())
        return;
    int timeout = -1;
    if (const auto deadline = reader.deadline()) {
        const auto left = ceil<milliseconds>(*deadline - SelectionReader::Clock::now()).count();
        timeout = static_cast<int>(std::max<std::int64_t>(left, 0));
    }
    std::array<pollfd, 2> sources{{
        {xcb_get_file_descriptor(*connection), POLLIN, 0},
        {wakeUp, POLLIN, 0},
    }};
    poll(sources.data(), sources.size(), timeout);
    eventfd_t ignored = 0;
    eventfd_read(wakeUp, &ignored);
}

void PasteboardThread::handle(const xcb_generic_event_t& event) {
    const auto number = static_cast<std::uint8_t>(event.response_type & eventNumber);
    if (number == XCB_SELECTION_REQUEST)
        owner.handle(as<xcb_selection_request_event_t>(event));
    else if (number == XCB_SELECTION_CLEAR)
        owner.handle(as<xcb_selection_clear_event_t>(event));
    else if (number == XCB_SELECTION_NOTIFY)
        reader.handle(as<xcb_selection_notify_event_t>(event));
    else if (number == XCB_PROPERTY_NOTIFY)
        reader.handle(as<xcb_property_notify_event_t>(event));
    else if (number == connection->firstEvent(&xcb_xfixes_id) + XCB_XFIXES_SELECTION_NOTIFY)
        ownerChanged(as<xcb_xfixes_selection_notify_event_t>(event).owner);
}

void PasteboardThread::ownerChanged(xcb_window_t newOwner) {
    if (newOwner == window)
        return; // Counted when the text was put there.
    ++count;
    reader.cancel();
    forgetTypes();
}

void PasteboardThread::forgetTypes() {
    known.clear();
    unexplained = false;
}

std::optional<xcb_timestamp_t> PasteboardThread::serverTime() {
    xcb_change_property(*connection, XCB_PROP_MODE_APPEND, window, clock, XCB_ATOM_INTEGER, 32, 0,
                        nullptr);
    xcb_flush(*connection);
    while (Owned<xcb_generic_event_t> event{xcb_wait_for_event(*connection)}) {
        const auto number = event->response_type & eventNumber;
        if (number == XCB_PROPERTY_NOTIFY && as<xcb_property_notify_event_t>(*event).atom == clock)
            return as<xcb_property_notify_event_t>(*event).time;
        postponed.push_back(std::move(event));
    }
    return std::nullopt;
}

} // namespace platform::x11
