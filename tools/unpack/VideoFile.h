#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct AVFormatContext;

namespace unpack {

using Microseconds = std::chrono::microseconds;

/// One frame of a stream: an access unit of H.264 as a byte stream (Annex B).
struct Frame {
    bool key = false;
    /// When it is shown, from a beginning of the sender's own.
    Microseconds time{0};
    std::vector<std::uint8_t> data;
};

/// A file of frames, written through libavformat. A frame is written once it is known how long it
/// is shown.
class VideoFile {
public:
    /// Opens the kind of file that the name asks for: MP4 for ".mp4" and Matroska for ".mkv", with
    /// every frame's time, and for any other name the bare byte stream, which has no place for
    /// times. All functions throw std::runtime_error if the file can't be written.
    explicit VideoFile(const std::string& path);

    /// The size of the frames that follow, in pixels. A file has one size in its head, the first.
    void announce(int width, int height);
    /// Appends a frame. Those before the first key frame are left out: nobody could decode them.
    void add(Frame frame);
    /// Ends the file at this time of the frames' clock. Until then the last frame is shown.
    void end(Microseconds time);

private:
    struct Close {
        void operator()(AVFormatContext* opened) const;
    };

    void begin(const Frame& first);
    void write(const Frame& frame, Microseconds until);

    std::unique_ptr<AVFormatContext, Close> context;
    int width = 0;
    int height = 0;
    Microseconds beginning{0};
    std::optional<Frame> waiting;
};

} // namespace unpack
