#include "bench/Recording.h"
#include "bench/Scenes.h"
#include "bench/Table.h"
#include "support/Process.h"
#include "support/Usage.h"
#include "support/XServer.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <random>
#include <thread>

/// Measures `orvel-screen stream` on a private 1920x1080 X server, beside ffmpeg doing the same
/// job with the settings a user would pick.
namespace bench {
namespace {

using namespace std::chrono_literals;
using test::Process;

constexpr int steps = 150;
constexpr int starts = 5;

/// One of the two programs that are compared.
struct Contestant {
    StreamFormat format;
    std::vector<std::string> command;
    std::string startLine;
};

Contestant ours() {
    return {StreamFormat::frames,
            {ORVEL_SCREEN, "stream"},
            R"({"t":"start","fps":30,"kbps":4000,"maxw":1920})"
            "\n"};
}

Contestant reference(const std::string& display) {
    return {StreamFormat::annexB,
            {"ffmpeg",    "-loglevel", "error",       "-f",    "x11grab", "-framerate",
             "30",        "-i",        display,       "-c:v",  "libx264", "-preset",
             "superfast", "-tune",     "zerolatency", "-b:v",  "4000k",   "-flush_packets",
             "1",         "-f",        "h264",        "pipe:1"},
            ""};
}

struct Figures {
    double latencyMedian; ///< Milliseconds, from here on.
    double latency95;
    double cpuPerFrame;
};

double quantile(std::vector<double> values, double share) {
    std::ranges::sort(values);
    return values.at(static_cast<std::size_t>(share * static_cast<double>(values.size() - 1)));
}

double milliseconds(std::chrono::nanoseconds span) {
    return std::chrono::duration<double, std::milli>(span).count();
}

/// The latency of each step: from the moment it was on the screen until a frame that shows it, or
/// a later one, had left the program.
std::vector<double> latencies(const std::vector<TimePoint>& drawn,
                              const std::vector<AccessUnit>& units,
                              const std::vector<int>& markers) {
    std::vector<double> result;
    std::size_t unit = 0;
    for (std::size_t step = 0; step < drawn.size(); ++step) {
        while (unit < markers.size() && markers[unit] < static_cast<int>(step))
            ++unit;
        if (unit == markers.size())
            break;
        result.push_back(milliseconds(units[unit].arrived - drawn[step]));
    }
    return result;
}

Figures play(const Contestant& contestant, const std::string& display, SceneKind kind) {
    Scene scene(display, kind);
    scene.step(0);
    Process process(contestant.command, {{"DISPLAY", display}});
    process.write(contestant.startLine);
    Recording recording(process, contestant.format);
    recording.waitForFirst();
    std::this_thread::sleep_for(2s);

    const auto cpuBefore = test::cpuTime(process.id());
    const auto unitsBefore = recording.bytes();
    std::vector<TimePoint> drawn{Clock::now()};
    std::mt19937 random(5);
    for (std::uint16_t number = 1; number <= steps; ++number) {
        // Not in step with anybody's own clock.
        std::this_thread::sleep_for(std::chrono::microseconds(28'000 + random() % 10'000));
        scene.step(number);
        drawn.push_back(Clock::now());
    }
    std::this_thread::sleep_for(200ms);
    const auto cpu = test::cpuTime(process.id()) - cpuBefore;
    process.signal(SIGKILL);
    recording.finish();

    const auto units = recording.accessUnits();
    auto times = latencies(drawn, units, shownMarkers(units));
    times.erase(times.begin());
    const auto frames = std::ranges::count_if(
        units, [&](const AccessUnit& unit) { return unit.start >= unitsBefore; });
    return {quantile(times, 0.5), quantile(times, 0.95),
            milliseconds(cpu) / static_cast<double>(frames)};
}

struct Idle {
    double share;  ///< Of one core, in percent.
    double memory; ///< Peak resident size in MiB.
};

Idle rest(const Contestant& contestant, const std::string& display) {
    Scene scene(display, SceneKind::typing);
    scene.step(0);
    Process process(contestant.command, {{"DISPLAY", display}});
    process.write(contestant.startLine);
    Recording recording(process, contestant.format);
    recording.waitForFirst();
    std::this_thread::sleep_for(3s);
    constexpr auto span = 5s;
    const auto before = test::cpuTime(process.id());
    std::this_thread::sleep_for(span);
    const auto used = milliseconds(test::cpuTime(process.id()) - before);
    const auto memory = test::peakMemory(process.id());
    process.signal(SIGKILL);
    recording.finish();
    return {used / milliseconds(span) * 100, memory};
}

/// Until the first access unit, from the start line or, where there is none, from the start.
double start(const Contestant& contestant, const std::string& display) {
    std::vector<double> times;
    for (int number = 0; number < starts; ++number) {
        auto begin = Clock::now();
        Process process(contestant.command, {{"DISPLAY", display}});
        if (!contestant.startLine.empty()) {
            std::this_thread::sleep_for(300ms);
            begin = Clock::now();
            process.write(contestant.startLine);
        }
        Recording recording(process, contestant.format);
        recording.waitForFirst();
        process.signal(SIGKILL);
        recording.finish();
        times.push_back(milliseconds(recording.accessUnits().front().arrived - begin));
    }
    return quantile(times, 0.5);
}

void compare(Table& table, const std::string& display) {
    const auto us = ours();
    const auto them = reference(display);
    for (const auto& [name, kind] : {std::pair{"typing", SceneKind::typing},
                                     {"scrolling", SceneKind::scrolling},
                                     {"window", SceneKind::window},
                                     {"video", SceneKind::video}}) {
        const auto a = play(us, display, kind);
        const auto b = play(them, display, kind);
        const std::string scene(name);
        table.row(scene + ": change to frame, median", "ms", a.latencyMedian, b.latencyMedian);
        table.row(scene + ": change to frame, 95 %", "ms", a.latency95, b.latency95);
        table.row(scene + ": CPU a frame", "ms", a.cpuPerFrame, b.cpuPerFrame);
    }
    const auto a = rest(us, display);
    const auto b = rest(them, display);
    table.row("still: CPU, share of a core", "%", a.share, b.share);
    table.row("peak memory", "MiB", a.memory, b.memory);
    table.row("start to first key frame", "ms", start(us, display), start(them, display));
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    const bool json = count > 1 && std::string_view(arguments[1]) == "--json";
    test::XServer server("1920x1080x24");
    bench::Table table("ffmpeg x11grab, libx264 superfast zerolatency");
    bench::compare(table, server.display());
    std::fputs((json ? table.json() : table.text()).c_str(), stdout);
}
