#include "system/Recorder.h"

#include "platform/Screens.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

namespace test {
namespace {

constexpr const char* threadLabel = "test.recorder";

/// Luma and both chromas of a colour (BT.601, limited range).
std::array<double, 3> coded(std::uint32_t colour) {
    const double r = (colour >> 16 & 255) / 255.0;
    const double g = (colour >> 8 & 255) / 255.0;
    const double b = (colour & 255) / 255.0;
    return {16 + 65.481 * r + 128.553 * g + 24.966 * b, 128 - 37.797 * r - 74.203 * g + 112 * b,
            128 + 112 * r - 93.786 * g - 18.214 * b};
}

/// The first square of four pixels, if any, of which it is true or not that it shows the colours
/// that `colourAt` gives.
template<class ColourAt>
std::optional<Box> firstSquare(const platform::PixelBuffer& picture, bool shown,
                               ColourAt colourAt) {
    const auto byteAt = [&](int plane, int byte, int row) {
        const auto& samples = picture.plane(plane);
        return samples.data[static_cast<std::ptrdiff_t>(row) * samples.bytesPerRow + byte];
    };
    const auto shows = [&](int x, int y) {
        double cb = 0, cr = 0;
        for (const auto& [dx, dy] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) {
            const auto wanted = coded(colourAt(x + dx, y + dy));
            if (std::abs(byteAt(0, x + dx, y + dy) - wanted[0]) > 2)
                return false;
            cb += wanted[1] / 4;
            cr += wanted[2] / 4;
        }
        return std::abs(byteAt(1, x, y / 2) - cb) <= 3 &&
               std::abs(byteAt(1, x + 1, y / 2) - cr) <= 3;
    };
    for (int y = 0; y < picture.height(); y += 2)
        for (int x = 0; x < picture.width(); x += 2)
            if (shows(x, y) == shown)
                return Box{x, y, 2, 2};
    return std::nullopt;
}

/// How often the capture thread has gone to sleep so far.
long wakeUps() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string word;
        std::ifstream(task.path() / "comm") >> word;
        std::ifstream status(word == threadLabel ? task.path() / "status" : "");
        while (status >> word)
            if (word == "voluntary_ctxt_switches:") {
                long count = 0;
                status >> count;
                return count;
            }
    }
    throw std::runtime_error("there is no capture thread");
}

} // namespace

void Screenshot::fill(Box box, std::uint32_t colour) {
    for (int y = std::max(box.y, 0); y < std::min(box.y + box.height, height); ++y)
        for (int x = std::max(box.x, 0); x < std::min(box.x + box.width, width); ++x)
            pixels[static_cast<std::size_t>(y * width + x)] = colour;
}

Screenshot Screenshot::part(Box box) const {
    Screenshot result(box.width, box.height);
    for (int y = 0; y < box.height; ++y)
        for (int x = 0; x < box.width; ++x)
            result.pixels[static_cast<std::size_t>(y * box.width + x)] = at(box.x + x, box.y + y);
    return result;
}

platform::DisplayID displayNamed(const std::string& name) {
    const auto displays = platform::activeDisplayList();
    const auto found = std::ranges::find(displays, name, &platform::ActiveDisplay::name);
    return found != displays.end() ? found->id : 0;
}

Recorder::Recorder(const RecorderOptions& options)
    : keepAll(options.keepAll),
      forbidden(options.forbidden),
      filmed(options.display != 0 ? options.display : platform::activeDisplayList().at(0).id),
      stream({filmed, options.excludedApplications},
             {.width = options.width,
              .height = options.height,
              .minimumFrameInterval = options.interval,
              .showsCursor = options.showsCursor,
              .queueDepth = options.queueDepth},
             [this] { ++stopped; }) {
    stream.addStreamOutput(
        [this](platform::SampleType, const platform::CaptureSample& sample) { take(sample); },
        threadLabel);
    stream.startCapture();
}

void Recorder::take(const platform::CaptureSample& sample) {
    if (firstSquare(*sample.image, true, [&](int, int) { return forbidden; }))
        ++offending;
    const std::lock_guard guard(lock);
    newest = sample.image;
    presentationTimes.push_back(sample.presentationTime);
    if (keepAll)
        kept.push_back(sample.image);
}

testing::AssertionResult Recorder::shows(const Screenshot& expected,
                                         std::chrono::milliseconds limit) const {
    std::optional<Box> difference;
    const auto matches = [&] {
        const auto picture = latest();
        difference = Box{-1, -1, 0, 0};
        if (picture)
            difference =
                firstSquare(*picture, false, [&](int x, int y) { return expected.at(x, y); });
        return !difference;
    };
    if (eventually(matches, limit))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "the newest picture of " << count() << " differs at "
                                       << difference->x << ", " << difference->y;
}

platform::ImageBuffer Recorder::latest() const {
    const std::lock_guard guard(lock);
    return newest;
}

std::vector<platform::MediaTime> Recorder::times() const {
    const std::lock_guard guard(lock);
    return presentationTimes;
}

void Recorder::release() {
    const std::lock_guard guard(lock);
    kept.clear();
}

bool Recorder::fallsAsleep() const {
    return eventually([] {
        const auto before = wakeUps();
        std::this_thread::sleep_for(500ms);
        return wakeUps() == before;
    });
}

} // namespace test
