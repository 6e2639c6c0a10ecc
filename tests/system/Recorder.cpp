#include "system/Recorder.h"

#include "platform/Screens.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

namespace test {
namespace {

constexpr const char* threadLabel = "test.recorder";

int red(std::uint32_t colour) {
    return (colour >> 16) & 0xFF;
}
int green(std::uint32_t colour) {
    return (colour >> 8) & 0xFF;
}
int blue(std::uint32_t colour) {
    return colour & 0xFF;
}

// BT.601, limited range.
double luma(std::uint32_t c) {
    return 16 + (65.481 * red(c) + 128.553 * green(c) + 24.966 * blue(c)) / 255;
}
double cb(std::uint32_t c) {
    return 128 + (-37.797 * red(c) - 74.203 * green(c) + 112.0 * blue(c)) / 255;
}
double cr(std::uint32_t c) {
    return 128 + (112.0 * red(c) - 93.786 * green(c) - 18.214 * blue(c)) / 255;
}

bool near(int sample, double expected, double tolerance) {
    return std::abs(sample - expected) <= tolerance;
}

int sample(const platform::PixelPlane& plane, int byte, int row) {
    return plane.data[static_cast<std::ptrdiff_t>(row) * plane.bytesPerRow + byte];
}

/// Whether the square of four pixels at the even position shows these colours.
bool squareShows(const platform::PixelBuffer& picture, int x, int y,
                 const std::array<std::uint32_t, 4>& colours) {
    double meanCb = 0;
    double meanCr = 0;
    for (int index = 0; index < 4; ++index) {
        const auto colour = colours[static_cast<std::size_t>(index)];
        if (!near(sample(picture.plane(0), x + index % 2, y + index / 2), luma(colour), 2))
            return false;
        meanCb += cb(colour) / 4;
        meanCr += cr(colour) / 4;
    }
    return near(sample(picture.plane(1), x, y / 2), meanCb, 3) &&
           near(sample(picture.plane(1), x + 1, y / 2), meanCr, 3);
}

/// The first square of four whose position meets the condition.
template<class Condition>
std::optional<Box> findSquare(const platform::PixelBuffer& picture, Condition condition) {
    for (int y = 0; y < picture.height(); y += 2)
        for (int x = 0; x < picture.width(); x += 2)
            if (condition(x, y))
                return Box{x, y, 2, 2};
    return std::nullopt;
}

std::optional<Box> firstDifference(const platform::PixelBuffer& picture,
                                   const Screenshot& expected) {
    return findSquare(picture, [&](int x, int y) {
        return !squareShows(picture, x, y,
                            {expected.at(x, y), expected.at(x + 1, y), expected.at(x, y + 1),
                             expected.at(x + 1, y + 1)});
    });
}

/// How often the capture thread has gone to sleep so far.
long wakeUps() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm") >> std::ws, name);
        if (name != threadLabel)
            continue;
        std::ifstream status(task.path() / "status");
        for (std::string word; status >> word;)
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

Recorder::Recorder(const RecorderOptions& options)
    : keepAll(options.keepAll),
      forbidden(options.forbidden),
      filmed(options.display != 0 ? options.display : platform::mainDisplayID()),
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
    const std::array<std::uint32_t, 4> four{forbidden, forbidden, forbidden, forbidden};
    if (findSquare(*sample.image,
                   [&](int x, int y) { return squareShows(*sample.image, x, y, four); }))
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
        difference = picture ? firstDifference(*picture, expected) : Box{};
        return !difference;
    };
    if (eventually(matches, limit))
        return testing::AssertionSuccess();
    const auto [x, y, width, height] = *difference;
    if (width == 0)
        return testing::AssertionFailure() << "no picture came";
    const auto picture = latest();
    return testing::AssertionFailure()
           << "at " << x << ", " << y << " the luma is " << sample(picture->plane(0), x, y)
           << " and not " << luma(expected.at(x, y)) << ", the chroma "
           << sample(picture->plane(1), x, y / 2) << " " << sample(picture->plane(1), x + 1, y / 2)
           << " and not " << cb(expected.at(x, y)) << " " << cr(expected.at(x, y));
}

platform::ImageBuffer Recorder::latest() const {
    const std::lock_guard guard(lock);
    return newest;
}

std::size_t Recorder::count() const {
    return times().size();
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
