#include "app/host/HostChannel.h"

#include "app/host/BigEndian.h"
#include "platform/Mutex.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace orvel {
namespace {

using Clock = std::chrono::steady_clock;

/// How long a frame may wait before new video has to wait for it.
constexpr auto maxWait = std::chrono::seconds(1);

/// What one call writes at most: it returns when all of it is written, and a parent that reads
/// slowly has to be told from one that does not read.
constexpr std::size_t maxPiece = 65536;

/// Room for the frames of a moment in which the parent does something else.
void enlargePipe() {
    constexpr int wanted = 262144;
    const int size = fcntl(STDOUT_FILENO, F_GETPIPE_SZ);
    if (size >= 0 && size < wanted)
        fcntl(STDOUT_FILENO, F_SETPIPE_SZ, wanted);
}

/// Waits until standard output takes bytes again, should the parent have made it non-blocking.
bool waitUntilWritable() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, -1) >= 0 || errno == EINTR;
}

/// The bytes and frames on their way to standard output.
class Output {
public:
    Output() { enlargePipe(); }

    platform::SerialQueue& serialQueue() { return queue; }

    /// Bytes written since the process started.
    std::size_t progress() const { return written; }

    /// Writes two runs of bytes one behind the other, with one system call where they are short and
    /// the pipe has room. False if that is impossible.
    bool write(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
        const auto run = [](std::span<const std::uint8_t> bytes) {
            return iovec{const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
        };
        while (!first.empty() || !second.empty()) {
            const std::array<iovec, 2> runs{run(first),
                                            run(second.first(std::min(second.size(), maxPiece)))};
            const auto result = writev(STDOUT_FILENO, runs.data(), runs.size());
            if (result < 0) {
                if (errno == EINTR || (errno == EAGAIN && waitUntilWritable()))
                    continue;
                return false;
            }
            const auto count = static_cast<std::size_t>(result);
            written += count;
            const auto ofFirst = std::min(count, first.size());
            first = first.subspan(ofFirst);
            second = second.subspan(count - ofFirst);
        }
        return true;
    }

    void emit(FrameType type, Bytes payload) {
        const platform::MutexLock locked(lock);
        if (type == FrameType::clipboard) {
            const auto older = std::ranges::find(waiting, type, &Frame::type);
            if (older != waiting.end()) {
                older->payload = std::move(payload);
                return;
            }
        }
        waiting.push_back({type, std::move(payload), Clock::now()});
        queue.async([this] { writeNext(); });
    }

    bool keepsUp() {
        const platform::MutexLock locked(lock);
        return isKeepingUp();
    }

    void whenKeepingUp(platform::Task task) {
        const platform::MutexLock locked(lock);
        postponed.push_back(std::move(task));
        resume();
    }

private:
    struct Frame {
        FrameType type;
        Bytes payload;
        Clock::time_point emitted;
    };

    bool isKeepingUp() const REQUIRES(lock) {
        auto oldest = writing;
        if (!oldest && !waiting.empty())
            oldest = waiting.front().emitted;
        return !oldest || Clock::now() - *oldest <= maxWait;
    }

    void resume() REQUIRES(lock) {
        if (isKeepingUp())
            for (auto& task : std::exchange(postponed, {}))
                platform::globalQueue(std::move(task));
    }

    /// On the queue, once for each frame.
    void writeNext() {
        const auto frame = take();
        std::array<std::uint8_t, 5> header{static_cast<std::uint8_t>(frame.type)};
        std::ranges::copy(be32(static_cast<std::uint32_t>(frame.payload.size())), &header[1]);
        if (!write(header, frame.payload))
            exitAtOnce();
        const platform::MutexLock locked(lock);
        writing.reset();
        resume();
    }

    Frame take() {
        const platform::MutexLock locked(lock);
        auto frame = std::move(waiting.front());
        waiting.pop_front();
        writing = frame.emitted;
        return frame;
    }

    platform::Mutex lock;
    std::deque<Frame> waiting GUARDED_BY(lock);
    std::optional<Clock::time_point> writing GUARDED_BY(lock); // When that frame was emitted.
    std::vector<platform::Task> postponed GUARDED_BY(lock);    // Until the parent keeps up.
    std::atomic<std::size_t> written = 0;
    platform::SerialQueue queue{"orvel.screen.out"}; // Last, so that its thread ends first.
};

Output& output() {
    static Output instance;
    return instance;
}

std::optional<Bytes> dumped(const nlohmann::json& object) {
    try {
        const std::string text = object.dump();
        return Bytes(text.begin(), text.end());
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

} // namespace

platform::SerialQueue& outQueue() {
    return output().serialQueue();
}

void emit(FrameType type, Bytes payload) {
    output().emit(type, std::move(payload));
}

void emitJSON(FrameType type, const nlohmann::json& object) {
    if (auto payload = dumped(object))
        emit(type, *std::move(payload));
}

void problem(std::string_view code, std::string_view message) {
    emitJSON(FrameType::error, {{"error", code}, {"message", message}});
}

bool hostKeepsUp() {
    return output().keepsUp();
}

void whenHostKeepsUp(platform::Task task) {
    output().whenKeepingUp(std::move(task));
}

Bytes serialized(const nlohmann::json& object) {
    return dumped(object).value_or(Bytes{'{', '}'});
}

bool writeToHost(std::span<const std::uint8_t> bytes) {
    return output().write({}, bytes);
}

void exitAtOnce() {
    // Only the first thread that wants the end runs the platform's `at_quick_exit` handlers, and no
    // other may cut them short.
    static std::atomic_flag ending;
    while (ending.test_and_set())
        pause();
    // Other threads still use what static destructors would take away.
    std::quick_exit(EXIT_SUCCESS);
}

void exitBehindFrames() {
    // On the queue itself, where no frame can be half written.
    outQueue().async(exitAtOnce);
}

void flushAndExit(std::chrono::milliseconds standstill) {
    exitBehindFrames();
    auto before = output().progress();
    for (auto since = Clock::now(); Clock::now() - since < standstill;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (std::exchange(before, output().progress()) != before)
            since = Clock::now();
    }
    exitAtOnce();
}

} // namespace orvel
