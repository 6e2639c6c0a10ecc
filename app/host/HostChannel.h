#pragma once

#include "platform/Queue.h"

#include <nlohmann/json_fwd.hpp>

#include <chrono>
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
/// starts, which makes the pipe to the parent larger where the system allows; lives until it ends.
platform::SerialQueue& outQueue();

/// Queues one frame and returns at once. Frames leave whole and in the order of the calls, however
/// many threads call, and none is left out; but a clipboard's text takes the place of an older one
/// that still waits. When a frame can't be written the process ends with status 0.
void emit(FrameType type, Bytes payload);

/// Queues a frame with compact JSON. What can't be serialised is not sent.
void emitJSON(FrameType type, const nlohmann::json& object);

/// Reports a problem to the phone: a code for the application, a sentence for its user.
void problem(std::string_view code, std::string_view message);

/// Whether the parent reads about as fast as frames are emitted. False while a frame waits that was
/// emitted more than a second ago: video made now would only be seen late.
bool hostKeepsUp();

/// Runs the task on the global queue as soon as the parent keeps up, which may be now.
void whenHostKeepsUp(platform::Task task);

/// Compact JSON, or "{}" where a text in the object is not valid UTF-8.
Bytes serialized(const nlohmann::json& object);

/// Writes all bytes to standard output on the caller's thread, whatever it takes; false when that
/// is impossible. For output without frames; frames go through `emit`.
bool writeToHost(std::span<const std::uint8_t> bytes);

/// Ends the process with status 0 once every frame queued so far is written, or when the parent has
/// taken nothing for `standstill`. Not on `outQueue`.
[[noreturn]] void flushAndExit(std::chrono::milliseconds standstill = std::chrono::seconds(5));

/// Ends the process with status 0 without waiting for frames, but leaves the desktop as it was
/// found. Any thread; a frame that is being written on another one is cut off.
[[noreturn]] void exitAtOnce();

/// Ends the process with status 0 once every frame queued so far is written. Returns at once, for
/// callers that must not wait.
void exitBehindFrames();

} // namespace orvel
