#pragma once

#include "platform/ScreenCapture.h"
#include "support/Process.h"
#include "support/XClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

namespace test {

/// What a screen is to look like.
struct Screenshot {
    Screenshot(int width, int height)
        : width(width),
          height(height),
          pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

    void fill(Box box, std::uint32_t colour); ///< Clipped.
    Screenshot part(Box box) const;
    std::uint32_t at(int x, int y) const { return pixels[static_cast<std::size_t>(y * width + x)]; }

    int width, height;
    std::vector<std::uint32_t> pixels; ///< 0x00RRGGBB
};

/// The display of this name.
platform::DisplayID displayNamed(const std::string& name);

struct RecorderOptions {
    platform::DisplayID display = 0; ///< The first one if 0.
    int width = 320, height = 240;
    std::chrono::milliseconds interval{16};
    bool showsCursor = false;
    int queueDepth = 4;
    bool keepAll = false; ///< Don't give pictures back before `release`.
    std::vector<std::string> excludedApplications{};
    std::uint32_t forbidden = 0xFF00FF; ///< A colour that no picture is to have, see below.
};

/// Films a screen of the server in DISPLAY with the real capture stream.
class Recorder {
public:
    /// Throws platform::CaptureError.
    explicit Recorder(const RecorderOptions& options = {});

    platform::DisplayID display() const { return filmed; }
    /// Waits until the newest picture shows this, as well as video420 can: luma within 2 steps of
    /// every pixel's, chroma within 3 of that of every square of four.
    testing::AssertionResult shows(const Screenshot& expected,
                                   std::chrono::milliseconds limit = patience) const;

    platform::ImageBuffer latest() const;
    std::size_t count() const { return times().size(); }
    std::vector<platform::MediaTime> times() const;
    /// In how many pictures so far any square of four was of the forbidden colour.
    int violations() const { return offending; }
    void release();
    int stops() const { return stopped; }
    /// Waits until the capture thread sleeps through half a second.
    bool fallsAsleep() const;

private:
    void take(const platform::CaptureSample& sample);

    const bool keepAll;
    const std::uint32_t forbidden;
    mutable std::mutex lock;
    std::vector<platform::ImageBuffer> kept; // guarded by lock, as what follows
    platform::ImageBuffer newest;
    std::vector<platform::MediaTime> presentationTimes;
    std::atomic<int> offending = 0, stopped = 0;
    platform::DisplayID filmed;
    platform::CaptureStream stream; // last, so that it ends first
};

} // namespace test
