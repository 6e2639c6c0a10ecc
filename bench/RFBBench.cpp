#include "bench/Figures.h"
#include "bench/RectangleFile.h"
#include "bench/RemoteSession.h"
#include "bench/Table.h"
#include "platform/Decompression.h"
#include "rfb/Framebuffer.h"
#include "rfb/Inflater.h"
#include "rfb/ZRLE.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

/// Measures the way of remote pixels on what a real server sent: into the framebuffer, each step of
/// it and the whole, beside the bare decompressor on the same bytes; and through the program to the
/// last frame of video.
namespace bench {
namespace {

/// Of the recorded screen.
constexpr int screenWidth = 1280;
constexpr int screenHeight = 800;

/// A recording on its way through each step.
class Pipeline {
public:
    explicit Pipeline(const Rectangles& recorded)
        : rectangles(recorded),
          pixels(std::size_t{4} * screenWidth * screenHeight) {
        orvel::Inflater inflater;
        for (const auto& rectangle : rectangles) {
            const auto data = inflater.inflate(rectangle.data, pixelBytes(rectangle));
            inflated.emplace_back(data.begin(), data.end());
        }
    }

    /// The decompressor itself, into one buffer that stays in the cache.
    void alone() {
        platform::DecompressionStream stream;
        std::size_t header = 2;
        for (const auto& rectangle : rectangles) {
            auto rest = std::span(rectangle.data).subspan(std::exchange(header, 0));
            platform::DecompressionStream::Step step{};
            do {
                step = stream.decode(rest, buffer);
                rest = rest.subspan(step.consumed);
            } while (step.produced == buffer.size() || !rest.empty());
        }
    }

    void inflate() {
        orvel::Inflater inflater;
        for (const auto& rectangle : rectangles)
            inflater.inflate(rectangle.data, pixelBytes(rectangle));
    }

    void zrleDecode() {
        for (std::size_t at = 0; at < rectangles.size(); ++at)
            orvel::zrleDecode(inflated[at], rectangles[at].width, rectangles[at].height, scratch,
                              [](int, int, std::span<const std::uint8_t>) {});
    }

    void put() {
        for (const auto& [x, y, w, h, data] : rectangles)
            framebuffer.put({x, y, w, h}, pixels);
    }

    void whole() {
        orvel::Inflater inflater;
        for (const auto& rectangle : rectangles) {
            const auto unpacked = inflater.inflate(rectangle.data, pixelBytes(rectangle));
            orvel::zrleDecode(
                unpacked, rectangle.width, rectangle.height, scratch,
                [&](int y, int count, std::span<const std::uint8_t> rows) {
                    framebuffer.put({rectangle.x, rectangle.y + y, rectangle.width, count}, rows);
                });
        }
    }

private:
    static std::ptrdiff_t pixelBytes(const Rectangle& rectangle) {
        return std::ptrdiff_t{4} * rectangle.width * rectangle.height;
    }

    const Rectangles& rectangles;
    std::vector<std::vector<std::uint8_t>> inflated;
    std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(65536);
    orvel::Framebuffer framebuffer{screenWidth, screenHeight};
    std::vector<std::uint8_t> pixels;
    orvel::Scratch<std::uint32_t> scratch;
};

double timeOf(Pipeline& pipeline, void (Pipeline::*step)()) {
    const auto begin = Clock::now();
    (pipeline.*step)();
    return milliseconds(Clock::now() - begin);
}

/// The fastest of many runs of each step, taken in turns with the bare decompressor.
void compareSteps(Table& table, const std::string& scene, const Rectangles& rectangles,
                  std::optional<double> aim) {
    constexpr int runs = 100;
    struct Step {
        std::string name;
        void (Pipeline::*run)();
        std::optional<double> aim;
        double fastest = std::numeric_limits<double>::infinity();
    };
    std::array<Step, 4> steps{{{"inflate", &Pipeline::inflate, {}},
                               {"decode ZRLE", &Pipeline::zrleDecode, {}},
                               {"put", &Pipeline::put, {}},
                               {"all of these", &Pipeline::whole, aim}}};
    Step alone{"", &Pipeline::alone, {}};
    Pipeline pipeline(rectangles);
    for (int run = 0; run < runs; ++run)
        for (auto& step : steps)
            for (auto* each : {&step, &alone})
                each->fastest = std::min(each->fastest, timeOf(pipeline, each->run));
    for (const auto& step : steps)
        table.row(scene + ": " + step.name, "ms", step.fastest, alone.fastest, step.aim);
}

void playToProgram(Table& table, const std::string& scene, const Rectangles& rectangles) {
    constexpr int runs = 5;
    std::vector<double> wall;
    std::vector<double> cpu;
    for (int run = 0; run < runs; ++run) {
        const auto figures = playSession(rectangles, screenWidth, screenHeight);
        wall.push_back(figures.wall);
        cpu.push_back(figures.cpu);
    }
    table.row(scene + ": program, connection to last frame", "ms", quantile(wall, 0.5));
    table.row(scene + ": program, CPU for it", "ms", quantile(cpu, 0.5));
}

void measure(Table& table) {
    constexpr double onText = 1.4;
    constexpr double onPhotographs = 1.15;
    for (const auto& [scene, aim] :
         {std::pair<std::string, std::optional<double>>{"scrolling", onText},
          {"terminal", onText},
          {"window", {}},
          {"video", onPhotographs}}) {
        const auto rectangles = readRectangles(RECORDINGS "/" + scene + ".zrle");
        compareSteps(table, scene, rectangles, aim);
        playToProgram(table, scene, rectangles);
    }
    for (const auto& [name, w, h] :
         {std::tuple<std::string, int, int>{"1080p: ", 1920, 1080}, {"2160p: ", 3840, 2160}}) {
        constexpr int updates = 100;
        const auto figures = playUpdates(updates, w, h);
        table.row(name + "update to frame, median", "ms", quantile(figures.latencies, 0.5));
        table.row(name + "update to frame, 95 %", "ms", quantile(figures.latencies, 0.95));
        table.row(name + "CPU for an update and its frame", "ms", figures.cpu);
        table.row(name + "start line to first key frame", "ms", figures.start);
        table.row(name + "peak memory", "MiB", figures.memory);
    }
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    return bench::printTable(count, arguments, "igzip alone on the same bytes", bench::measure);
}
