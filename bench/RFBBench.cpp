#include "bench/RectangleFile.h"
#include "bench/RemoteSession.h"
#include "platform/Decompression.h"
#include "rfb/Framebuffer.h"
#include "rfb/Inflater.h"
#include "rfb/ZRLE.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Measures the way of remote pixels on what a real server sent: into the framebuffer, each step of
/// it and the whole, and through the program to the last frame of video. All bytes a second are of
/// decompressed data, so that the figures compare. Each run of a step is followed by one of the
/// bare decompressor on the same bytes, and `ofAlone` says how many times as long the step takes.
namespace bench {
namespace {

/// Of the recorded screen.
constexpr int screenWidth = 1280;
constexpr int screenHeight = 800;

/// A recording on its way through each step.
class Pipeline {
public:
    explicit Pipeline(Rectangles recorded)
        : rectangles(std::move(recorded)),
          pixels(std::size_t{4} * framebuffer.width * framebuffer.height) {
        orvel::Inflater inflater;
        for (const auto& rectangle : rectangles) {
            const auto data = inflater.inflate(rectangle.data, pixelBytes(rectangle));
            inflated.emplace_back(data.begin(), data.end());
            size += std::ssize(data);
        }
    }

    /// Of the decompressed data.
    std::int64_t bytes() const { return size; }

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
            framebuffer.put(x, y, w, h, pixels);
    }

    void whole() {
        orvel::Inflater inflater;
        for (const auto& rectangle : rectangles) {
            const auto unpacked = inflater.inflate(rectangle.data, pixelBytes(rectangle));
            orvel::zrleDecode(unpacked, rectangle.width, rectangle.height, scratch,
                              [&](int y, int count, std::span<const std::uint8_t> pixels) {
                                  framebuffer.put(rectangle.x, rectangle.y + y, rectangle.width,
                                                  count, pixels);
                              });
        }
    }

private:
    static std::ptrdiff_t pixelBytes(const Rectangle& rectangle) {
        return std::ptrdiff_t{4} * rectangle.width * rectangle.height;
    }

    const Rectangles rectangles;
    std::vector<std::vector<std::uint8_t>> inflated;
    std::int64_t size = 0;
    std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(65536);
    orvel::Framebuffer framebuffer{screenWidth, screenHeight};
    std::vector<std::uint8_t> pixels;
    orvel::Scratch<std::uint32_t> scratch;
};

void measure(benchmark::State& state, Pipeline& pipeline, void (Pipeline::*step)()) {
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;
    Seconds ofStep{};
    Seconds ofAlone{};
    while (state.KeepRunning()) {
        const auto start = Clock::now();
        (pipeline.*step)();
        const auto middle = Clock::now();
        pipeline.alone();
        ofStep += middle - start;
        ofAlone += Clock::now() - middle;
        state.SetIterationTime(Seconds(middle - start).count());
    }
    state.SetBytesProcessed(state.iterations() * pipeline.bytes());
    state.counters["ofAlone"] = ofStep / ofAlone;
}

/// The program from the connection to the last frame; the time is what passes, `cpu` what it uses
/// of it, in milliseconds too.
void measureProgram(benchmark::State& state, const Rectangles& rectangles) {
    double cpu = 0;
    int frames = 0;
    while (state.KeepRunning()) {
        const auto figures = playSession(rectangles, screenWidth, screenHeight);
        state.SetIterationTime(figures.wall / 1000);
        cpu += figures.cpu;
        frames += figures.frames;
    }
    state.counters["cpu"] = benchmark::Counter(cpu, benchmark::Counter::kAvgIterations);
    state.counters["frames"] = benchmark::Counter(frames, benchmark::Counter::kAvgIterations);
}

/// From a server's update to its frame: the median, with the 95th percentile as a counter.
void measureLatency(benchmark::State& state) {
    constexpr int updates = 100;
    while (state.KeepRunning()) {
        auto [latencies, cpu] = playUpdates(updates);
        std::ranges::sort(latencies);
        state.SetIterationTime(latencies[latencies.size() / 2] / 1000);
        state.counters["p95"] = latencies[latencies.size() * 95 / 100];
        state.counters["cpu"] = cpu;
        state.counters["frames"] = static_cast<double>(latencies.size());
    }
}

/// The pipeline and the rectangles must live as long as the benchmarks may run.
void add(const std::string& scene, Pipeline& pipeline, const Rectangles& rectangles) {
    for (const auto& [name, step] :
         std::initializer_list<std::pair<const char*, void (Pipeline::*)()>>{
             {"inflate", &Pipeline::inflate},
             {"zrleDecode", &Pipeline::zrleDecode},
             {"put", &Pipeline::put},
             {"whole", &Pipeline::whole}})
        benchmark::RegisterBenchmark((scene + "/" + name).c_str(), measure, std::ref(pipeline),
                                     step)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    constexpr int runs = 5;
    benchmark::RegisterBenchmark((scene + "/program").c_str(), measureProgram,
                                 std::cref(rectangles))
        ->UseManualTime()
        ->Iterations(runs)
        ->Unit(benchmark::kMillisecond);
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    std::map<std::string, bench::Rectangles> recordings;
    std::map<std::string, bench::Pipeline> pipelines;
    for (const std::string scene : {"scrolling", "terminal", "window", "video"}) {
        const auto path = std::string(RECORDINGS) + "/" + scene + ".zrle";
        const auto& recording = recordings[scene] = bench::readRectangles(path);
        bench::add(scene, pipelines.try_emplace(scene, recording).first->second, recording);
    }
    benchmark::RegisterBenchmark("updateToFrame", bench::measureLatency)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    std::string json = "--benchmark_format=json";
    for (auto& word : std::span(arguments, static_cast<std::size_t>(count)))
        if (std::string_view(word) == "--json")
            word = json.data();
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
