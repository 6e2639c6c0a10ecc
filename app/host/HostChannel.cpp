#include "app/host/HostChannel.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace orvel {
namespace {

/// Waits until standard output takes bytes again, should the parent have made it non-blocking.
bool waitUntilWritable() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, -1) >= 0 || errno == EINTR;
}

/// Writes two runs of bytes one behind the other, with one system call if the pipe has room.
bool writeRuns(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
    const auto run = [](std::span<const std::uint8_t> bytes) {
        return iovec{const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
    };
    while (!first.empty() || !second.empty()) {
        const std::array<iovec, 2> runs{run(first), run(second)};
        const auto written = writev(STDOUT_FILENO, runs.data(), runs.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            if (errno == EAGAIN && waitUntilWritable())
                continue;
            return false;
        }
        const auto count = static_cast<std::size_t>(written);
        const auto ofFirst = std::min(count, first.size());
        first = first.subspan(ofFirst);
        second = second.subspan(count - ofFirst);
    }
    return true;
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
    static platform::SerialQueue queue{"orvel.screen.out"};
    return queue;
}

std::array<std::uint8_t, 5> frameHeader(FrameType type, std::uint32_t length) {
    return {static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(length >> 24),
            static_cast<std::uint8_t>(length >> 16), static_cast<std::uint8_t>(length >> 8),
            static_cast<std::uint8_t>(length)};
}

void emit(FrameType type, Bytes payload) {
    const auto header = frameHeader(type, static_cast<std::uint32_t>(payload.size()));
    outQueue().async([header, payload = std::move(payload)] {
        if (!writeRuns(header, payload))
            exitAtOnce();
    });
}

void emitJSON(FrameType type, const nlohmann::json& object) {
    if (auto payload = dumped(object))
        emit(type, *std::move(payload));
}

void problem(std::string_view code, std::string_view message) {
    emitJSON(FrameType::error, {{"error", code}, {"message", message}});
}

Bytes serialized(const nlohmann::json& object) {
    return dumped(object).value_or(Bytes{'{', '}'});
}

bool writeToHost(std::span<const std::uint8_t> bytes) {
    return writeRuns(bytes, {});
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

void flushAndExit() {
    outQueue().sync([] {});
    exitAtOnce();
}

void exitBehindFrames() {
    outQueue().async(exitAtOnce);
}

} // namespace orvel
