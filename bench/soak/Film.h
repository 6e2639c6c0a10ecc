#pragma once

#include "support/Process.h"

#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace soak {

/// What has come of a program so far.
struct Progress {
    std::size_t announcements = 0;
    std::size_t pictures = 0;
    std::size_t clipboards = 0;
    std::vector<std::string> problems; ///< What it reported, and what the decoder complained of.
};

/// Takes all the frames of a program, on a thread of its own, and has ffmpeg decode each picture.
class Film {
public:
    explicit Film(test::Process& program);

    Progress progress() const;
    /// Waits for the end of the program's output and of the decoding.
    Progress finish();

private:
    class Decoder;
    void take();
    void take(const test::Frame& frame, std::optional<Decoder>& decoder);
    void endOf(Decoder& decoder);
    void complain(const std::string& what);

    test::Process& program;
    mutable std::mutex lock;
    Progress sum; // under lock
    std::jthread thread;
};

} // namespace soak
