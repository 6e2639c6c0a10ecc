#pragma once

#include "platform/Queue.h"

#include <nlohmann/json_fwd.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// The road to the application that started this process: output frames on standard output.
/// A frame is a type byte, the payload's length as 4 big-endian bytes, and the payload.
namespace orvel {

using Bytes = std::vector<std::uint8_t>;

enum class FrameType : std::uint8_t {
    announcement = 'I', ///< JSON: what the video that follows shows.
    video = 'V',        ///< One access unit; see VideoPayload.h.
    clipboard = 'C',    ///< UTF-8 text.
    error = 'E',        ///< JSON: {"error": code, "message": sentence}.
};

/// The queue on which all frames are written, and nothing else. First called when the process
/// starts; lives until it ends.
platform::SerialQueue& outQueue();

/// The 5 bytes in front of a payload of `length` bytes.
std::array<std::uint8_t, 5> frameHeader(FrameType type, std::uint32_t length);

/// Queues one frame and returns at once. Frames leave whole and in the order of the calls, however
/// many threads call. When a frame can't be written the process ends with status 0.
void emit(FrameType type, Bytes payload);

/// Queues a frame with compact JSON. What can't be serialised is not sent.
void emitJSON(FrameType type, const nlohmann::json& object);

/// Reports a problem to the phone: a code for the application, a sentence for its user.
void problem(std::string_view code, std::string_view message);

/// Compact JSON, or "{}" where a text in the object is not valid UTF-8.
Bytes serialized(const nlohmann::json& object);

/// Writes all bytes to standard output on the caller's thread, whatever it takes; false when that
/// is impossible. For output without frames; frames go through `emit`.
bool writeToHost(std::span<const std::uint8_t> bytes);

/// Waits until every frame queued so far is written and ends the process with status 0. Not on
/// `outQueue`.
[[noreturn]] void flushAndExit();

/// Ends the process with status 0 without waiting for frames, but leaves the desktop as it was
/// found. Any thread.
[[noreturn]] void exitAtOnce();

/// Ends the process with status 0 once every frame queued so far is written. Returns at once, for
/// callers that must not wait.
void exitBehindFrames();

} // namespace orvel
