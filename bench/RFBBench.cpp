#include "bench/RectangleFile.h"
#include "platform/Decompression.h"
#include "rfb/Framebuffer.h"
#include "rfb/Inflater.h"
#include "rfb/ZRLE.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Measures the way of remote pixels into the framebuffer on what a real server sent: each step of
/// it and the whole. All bytes a second are of decompressed data, so that the figures compare. Each
/// run of a step is followed by one of the bare decompressor on the same bytes, and `ofAlone` says
/// how many times as long the step takes.
namespace bench {
namespace {

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
    orvel::Framebuffer framebuffer{1280, 800};
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

/// The pipeline must live as long as the benchmarks may run.
void add(const std::string& scene, Pipeline& pipeline) {
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
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    std::map<std::string, bench::Pipeline> pipelines;
    for (const std::string scene : {"scrolling", "terminal", "window", "video"}) {
        const auto path = std::string(RECORDINGS) + "/" + scene + ".zrle";
        bench::add(scene, pipelines.try_emplace(scene, bench::readRectangles(path)).first->second);
    }
    std::string json = "--benchmark_format=json";
    for (auto& word : std::span(arguments, static_cast<std::size_t>(count)))
        if (std::string_view(word) == "--json")
            word = json.data();
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
