#pragma once

#include "bench/Figures.h"
#include "support/Process.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace bench {

enum class StreamFormat {
    frames, ///< The output frames of this program.
    annexB, ///< A bare H.264 byte stream.
};

struct AccessUnit {
    std::size_t start;              ///< Where it begins in the output.
    std::vector<std::uint8_t> data; ///< H.264 byte stream.
    TimePoint arrived;              ///< When its last byte was here.
};

/// Collects a process's output together with the time at which each part of it came, on a thread
/// of its own, until the process closes it.
class Recording {
public:
    Recording(test::Process& process, StreamFormat format);

    /// Until the first access unit is here.
    void waitForFirst();
    std::size_t bytes();
    /// Waits for the end of the output.
    void finish();
    /// After `finish`.
    std::vector<AccessUnit> accessUnits() const;

private:
    struct Chunk {
        std::size_t end;
        TimePoint arrived;
    };
    TimePoint arrival(std::size_t end) const;
    std::vector<AccessUnit> unitsOfFrames() const;
    std::vector<AccessUnit> unitsOfByteStream() const;

    const StreamFormat format;
    std::mutex lock;
    std::condition_variable grown;
    std::vector<std::uint8_t> output; // guarded by lock until finished
    std::vector<Chunk> chunks;        // guarded by lock until finished
    bool ended = false;               // guarded by lock
    std::jthread reader;
};

/// As one H.264 byte stream.
void writeFilm(const std::filesystem::path& file, const std::vector<AccessUnit>& units);

/// The step number that each picture shows (see Scenes.h) in squares of this many pixels, by an
/// independent decoder.
std::vector<int> shownMarkers(const std::vector<AccessUnit>& units, int square);

} // namespace bench
