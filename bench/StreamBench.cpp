#include "bench/Figures.h"
#include "bench/Recording.h"
#include "bench/Scenes.h"
#include "bench/Table.h"
#include "bench/Usage.h"
#include "support/Process.h"
#include "support/Sway.h"
#include "support/XServer.h"

#include <algorithm>
#include <csignal>
#include <random>
#include <thread>

/// Measures `orvel-screen stream` on private X servers, beside ffmpeg doing the same job with the
/// settings a user would pick.
namespace bench {
namespace {

using namespace std::chrono_literals;
using test::Process;

constexpr int starts = 5;

/// A screen, and what of it is filmed: its left upper part of `width` x `height`, at half the size
/// if it is wider than the video may be.
struct Desktop {
    std::string name; ///< In front of the rows.
    std::string display;
    int width;
    int height;
    bool isGuest = false; ///< The display is that of X clients on a Wayland compositor.

    int shrunk() const { return width > maxWidth ? 2 : 1; }
    static constexpr int maxWidth = 1920;
};

/// One of the two programs that are compared.
struct Contestant {
    StreamFormat format;
    std::vector<std::string> command;
    std::string startLine;
};

Contestant ours(int fps) {
    return {StreamFormat::frames,
            {ORVEL_SCREEN, "stream"},
            R"({"t":"start","fps":)" + std::to_string(fps) + R"(,"kbps":4000,"maxw":1920})" + "\n"};
}

std::string filterFor(const Desktop& desktop) {
    return desktop.shrunk() == 1 ? "null" : "scale=iw/2:ih/2:flags=area";
}

std::vector<std::string> grabbing(const Desktop& desktop, int fps) {
    return {"-f",          "x11grab",
            "-framerate",  std::to_string(fps),
            "-video_size", std::to_string(desktop.width) + "x" + std::to_string(desktop.height),
            "-i",          desktop.display,
            "-vf",         filterFor(desktop),
            "-pix_fmt",    "yuv420p"};
}

std::vector<std::string> ffmpeg(std::vector<std::string> arguments,
                                std::initializer_list<std::string> more) {
    const std::vector<std::string> program{"ffmpeg", "-nostdin", "-y", "-loglevel", "error"};
    arguments.insert(arguments.begin(), program.begin(), program.end());
    arguments.insert(arguments.end(), more);
    return arguments;
}

Contestant reference(const Desktop& desktop, int fps) {
    return {StreamFormat::annexB,
            ffmpeg(grabbing(desktop, fps),
                   {"-c:v", "libx264", "-preset", "superfast", "-tune", "zerolatency", "-b:v",
                    "4000k", "-flush_packets", "1", "-f", "h264", "pipe:1"}),
            ""};
}

/// How alike the last picture of the film is to what is on the screen, by ffmpeg's judgement.
double likeness(const std::vector<AccessUnit>& units, const Desktop& desktop) {
    const test::TemporaryDirectory directory;
    const auto film = directory.path / "film.h264";
    const auto last = directory.path / "last.yuv";
    const auto screen = directory.path / "screen.yuv";
    writeFilm(film, units);
    const auto run = [](const std::vector<std::string>& command) {
        Process process(command, {}, true);
        process.wait(5min);
        return process.errorText();
    };
    run(ffmpeg({"-f", "h264", "-i", film},
               {"-pix_fmt", "yuv420p", "-f", "image2", "-c:v", "rawvideo", "-update", "1", last}));
    run(ffmpeg(grabbing(desktop, 30),
               {"-frames:v", "1", "-f", "image2", "-c:v", "rawvideo", "-update", "1", screen}));
    const auto size = std::to_string(desktop.width / desktop.shrunk()) + "x" +
                      std::to_string(desktop.height / desktop.shrunk());
    std::vector<std::string> compare{"ffmpeg", "-nostdin", "-hide_banner"};
    for (const auto& file : {last, screen})
        compare.insert(compare.end(),
                       {"-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", size, "-i", file});
    compare.insert(compare.end(), {"-lavfi", "ssim", "-f", "null", "-"});
    const auto said = run(compare);
    const auto at = said.rfind("SSIM Y:");
    if (at == std::string::npos)
        throw std::runtime_error("no SSIM: " + said);
    return std::stod(said.substr(at + 7));
}

/// What happens on the screen while it is measured.
struct Play {
    std::string name; ///< In the rows.
    SceneKind kind;
    int fps; ///< Of the video.
    int steps;
    std::chrono::microseconds pause; ///< Between two steps, at least; up to a quarter longer.
    std::optional<double> latencyAim;
    std::optional<double> cpuAim;
};

struct Figures {
    std::vector<double> latencies; ///< Milliseconds from the screen to the frame, of each step.
    double cpuPerFrame;            ///< Milliseconds.
    double framesPerSecond;
    double rate; ///< kB a second.
    double ssim; ///< One second after the last step.
};

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

Figures play(const Contestant& contestant, const Desktop& desktop, const Play& play) {
    Scene scene(desktop.display, play.kind, play.fps);
    scene.step(0);
    Process process(contestant.command, {{"DISPLAY", desktop.display}});
    process.write(contestant.startLine);
    Recording recording(process, contestant.format);
    recording.waitForFirst();
    std::this_thread::sleep_for(2s);

    const auto cpuBefore = cpuTime(process.id());
    const auto unitsBefore = recording.bytes();
    std::vector<TimePoint> drawn{Clock::now()};
    std::mt19937 random(5);
    for (std::uint16_t number = 1; number <= play.steps; ++number) {
        // Not in step with anybody's own clock.
        const auto atLeast = static_cast<unsigned>(play.pause.count());
        std::this_thread::sleep_for(std::chrono::microseconds(atLeast + random() % (atLeast / 4)));
        scene.step(number);
        drawn.push_back(Clock::now());
    }
    std::this_thread::sleep_for(200ms);
    const auto cpu = cpuTime(process.id()) - cpuBefore;
    const auto bytes = recording.bytes() - unitsBefore;
    const auto unitsAfter = recording.bytes();
    std::this_thread::sleep_for(800ms);
    process.signal(SIGKILL);
    recording.finish();

    const auto units = recording.accessUnits();
    auto times = latencies(drawn, units, shownMarkers(units, markerSquare / desktop.shrunk()));
    times.erase(times.begin());
    const auto frames = std::ranges::count_if(units, [&](const AccessUnit& unit) {
        return unit.start >= unitsBefore && unit.start < unitsAfter;
    });
    const std::chrono::duration<double> span = drawn.back() - drawn.front();
    return {std::move(times), milliseconds(cpu) / static_cast<double>(frames),
            static_cast<double>(frames) / span.count(),
            static_cast<double>(bytes) / 1000 / span.count(),
            desktop.isGuest ? 1 : likeness(units, desktop)};
}

struct Idle {
    double share;  ///< Of one core, in percent.
    double frames; ///< A second.
    double memory; ///< Peak resident size in MiB.
};

Idle rest(const Contestant& contestant, const Desktop& desktop) {
    Scene scene(desktop.display, SceneKind::typing);
    scene.step(0);
    Process process(contestant.command, {{"DISPLAY", desktop.display}});
    process.write(contestant.startLine);
    Recording recording(process, contestant.format);
    recording.waitForFirst();
    std::this_thread::sleep_for(3s);
    constexpr auto span = 5s;
    const auto before = cpuTime(process.id());
    const auto bytesBefore = recording.bytes();
    std::this_thread::sleep_for(span);
    const auto used = milliseconds(cpuTime(process.id()) - before);
    const auto memory = peakMemory(process.id());
    process.signal(SIGKILL);
    recording.finish();
    const auto frames = std::ranges::count_if(
        recording.accessUnits(), [&](const AccessUnit& unit) { return unit.start >= bytesBefore; });
    return {used / milliseconds(span) * 100, static_cast<double>(frames) / span.count(), memory};
}

/// Until the first access unit, from the start line or, where there is none, from the start.
double start(const Contestant& contestant, const Desktop& desktop) {
    std::vector<double> times;
    for (int number = 0; number < starts; ++number) {
        auto begin = Clock::now();
        Process process(contestant.command, {{"DISPLAY", desktop.display}});
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

/// Whatever moves all the time, in steps a little slower than the frames.
Play motion(const std::string& name, SceneKind kind, int fps, std::optional<double> latencyAim,
            std::optional<double> cpuAim = {}) {
    return {name, kind, fps, 5 * fps, 28ms * 30 / fps, latencyAim, cpuAim};
}

/// A change now and then, as large as `kind` says.
Play change(const std::string& name, SceneKind kind, int fps, std::chrono::milliseconds pause,
            double latencyAim) {
    return {name, kind, fps, 20, pause, latencyAim, {}};
}

void comparePlays(Table& table, const Desktop& desktop, const std::vector<Play>& plays) {
    for (const auto& play : plays) {
        const auto what = desktop.name + " " + play.name + " " + std::to_string(play.fps) + ": ";
        if (!table.wants(what))
            continue;
        const auto a = bench::play(ours(play.fps), desktop, play);
        const auto b = bench::play(reference(desktop, play.fps), desktop, play);
        table.rows(what + "change to frame", "ms", a.latencies, b.latencies, play.latencyAim);
        table.row(what + "CPU a frame", "ms", a.cpuPerFrame, b.cpuPerFrame, play.cpuAim);
        table.row(what + "frames a second", "", a.framesPerSecond, b.framesPerSecond);
        table.row(what + "sent", "kB/s", a.rate, b.rate);
        table.row(what + "1 - SSIM after 1 s", "", 1 - a.ssim, 1 - b.ssim);
    }
}

/// The same scene on a Wayland compositor, where X clients draw it, beside an X server.
void compareWayland(Table& table, const Play& play) {
    const auto what = "Wayland : X11 " + play.name + ": ";
    if (!table.wants(what))
        return;
    const test::XServer server("1920x1080x24");
    const auto b = bench::play(ours(play.fps), {"", server.display(), 1920, 1080, true}, play);
    const test::Sway sway("xwayland force\noutput HEADLESS-1 resolution 1920x1080");
    const std::string guest = std::getenv("DISPLAY"); // NOLINT(concurrency-mt-unsafe)
    const auto a = bench::play(ours(play.fps), {"", guest, 1920, 1080, true}, play);
    table.rows(what + "change to frame", "ms", a.latencies, b.latencies, play.latencyAim);
    table.row(what + "CPU a frame", "ms", a.cpuPerFrame, b.cpuPerFrame);
}

void compareRest(Table& table, const Desktop& desktop) {
    const auto what = desktop.name + " still: ";
    if (!table.wants(what))
        return;
    const auto a = rest(ours(30), desktop);
    const auto b = rest(reference(desktop, 30), desktop);
    table.row(what + "CPU, share of a core", "%", a.share, b.share);
    table.row(what + "frames a second", "", a.frames, b.frames);
    table.row(desktop.name + " peak memory", "MiB", a.memory, b.memory);
    table.row(desktop.name + " start to first key frame", "ms", start(ours(30), desktop),
              start(reference(desktop, 30), desktop));
}

void compare(Table& table) {
    const auto typing = motion("typing", SceneKind::typing, 30, {}, 0.3);
    const auto scrolling = motion("scrolling", SceneKind::scrolling, 30, 0.5, 0.6);
    const auto window = motion("window", SceneKind::window, 30, 0.5);
    {
        const test::XServer server("1920x1080x24");
        const Desktop desktop{"1080p", server.display(), 1920, 1080};
        comparePlays(table, desktop,
                     {typing, scrolling, motion("wheel", SceneKind::wheel, 30, 0.5, 0.6), window,
                      motion("video", SceneKind::video, 30, 0.5),
                      change("letter", SceneKind::typing, 30, 150ms, 0.24),
                      change("opening", SceneKind::opening, 30, 500ms, 0.5),
                      change("page", SceneKind::page, 30, 900ms, 0.5),
                      change("whole", SceneKind::whole, 30, 600ms, 0.35),
                      motion("typing", SceneKind::typing, 60, {}, 0.3),
                      motion("scrolling", SceneKind::scrolling, 60, 0.5, 0.6),
                      motion("wheel", SceneKind::wheel, 60, 0.5, 0.6),
                      change("letter", SceneKind::typing, 60, 150ms, 0.32),
                      change("opening", SceneKind::opening, 60, 500ms, 0.7),
                      change("page", SceneKind::page, 60, 900ms, 0.7),
                      change("whole", SceneKind::whole, 60, 600ms, 0.6)});
        compareRest(table, desktop);
    }
    {
        // Without video: to draw that at this size takes the machine longer than a frame.
        const test::XServer server("3840x2160x24");
        const Desktop desktop{"2160p", server.display(), 3840, 2160};
        comparePlays(
            table, desktop,
            {typing, scrolling, window, change("whole", SceneKind::whole, 30, 600ms, 0.35)});
        compareRest(table, desktop);
    }
    {
        const test::XServer server("3840x1080x24");
        for (const auto* monitor : {"a 1920/500x1080/300+0+0", "b 1920/500x1080/300+1920+0"}) {
            const std::string words(monitor);
            const auto space = words.find(' ');
            Process process({"xrandr", "--setmonitor", words.substr(0, space),
                             words.substr(space + 1), words[0] == 'a' ? "screen" : "none"},
                            {{"DISPLAY", server.display()}});
            process.wait();
        }
        comparePlays(table, {"two monitors", server.display(), 1920, 1080}, {typing});
    }
    compareWayland(table, change("letter", SceneKind::typing, 30, 150ms, 1.3));
    compareWayland(table, change("whole", SceneKind::whole, 30, 600ms, 1.3));
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    return bench::printTable(count, arguments, "ffmpeg x11grab, libx264 superfast zerolatency",
                             bench::compare);
}
