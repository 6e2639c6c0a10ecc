#include "bench/Usage.h"
#include "bench/soak/Activity.h"
#include "bench/soak/Film.h"
#include "support/VNCServers.h"
#include "support/XServer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <mutex>

/// Keeps the program busy for a long time and watches what it takes: `soak [MINUTES] [stream|vnc]`,
/// thirty minutes and both, side by side, unless told otherwise. Fails if memory or descriptors
/// grow, a picture can't be decoded, the program reports anything, or the keyboard is not as it
/// was.
namespace soak {
namespace {

using Clock = std::chrono::steady_clock;

/// What the program takes, at its most during an interval.
struct Usage {
    double memory = 0; // MiB resident
    long descriptors = 0;

    void include(const Usage& other) {
        memory = std::max(memory, other.memory);
        descriptors = std::max(descriptors, other.descriptors);
    }
};

Usage usage(pid_t process) {
    return {bench::memory(process), bench::openDescriptors(process)};
}

/// The last third of the time against the one before, when everything had happened once already.
std::vector<std::string> growth(const std::vector<Usage>& usages) {
    // MiB. Encoders of several sizes, one after the other, leave gaps that come and go.
    constexpr double allowed = 6;
    const auto third = usages.size() / 3;
    Usage before;
    Usage after;
    for (auto at = third; at < usages.size(); ++at)
        (at < usages.size() - third ? before : after).include(usages[at]);
    std::vector<std::string> complaints;
    if (after.memory > before.memory + allowed)
        complaints.push_back("memory grew from " + std::to_string(before.memory) + " to " +
                             std::to_string(after.memory) + " MiB");
    if (after.descriptors > before.descriptors)
        complaints.push_back("descriptors grew from " + std::to_string(before.descriptors) +
                             " to " + std::to_string(after.descriptors));
    return complaints;
}

void printRow(const char* what, double minutes, const Usage& usage, const Progress& progress) {
    std::printf("%-7s %7.1f %9.1f %12ld %9zu %7zu %7zu\n", what, minutes, usage.memory,
                usage.descriptors, progress.pictures, progress.announcements, progress.clipboards);
}

std::string keymap(const std::string& display) {
    test::Process process({"xkbcomp", "-w0", display, "-"});
    return process.restText();
}

/// The program at work on a desktop. Prints a row after each interval; what went wrong comes back.
std::vector<std::string> soak(const char* what, const std::string& display,
                              const std::vector<std::string>& options,
                              const std::vector<std::vector<std::string>>& sizes,
                              std::chrono::seconds length) {
    constexpr auto stepTime = std::chrono::milliseconds(50);
    constexpr int steps = 20; // between two looks at what the program takes
    std::vector<std::string> command{ORVEL_SCREEN, what};
    command.insert(command.end(), options.begin(), options.end());
    const auto keymapBefore = keymap(display);
    test::Process program(command, {{"DISPLAY", display}});
    program.line(R"({"t":"start","fps":30,"kbps":4000})");
    program.line(R"({"t":"first","on":true})");
    Film film(program);
    std::vector<Usage> usages;
    std::vector<std::string> complaints;
    std::size_t pictures = 0;
    {
        Activity activity(display, program, sizes);
        const auto begin = Clock::now();
        const auto interval = std::min<Clock::duration>(std::chrono::minutes(1), length / 12);
        auto due = begin;
        while (due < begin + length) {
            Usage most;
            for (const auto end = due + interval; due < end;) {
                for (int step = 0; step < steps; ++step) {
                    activity.step();
                    std::this_thread::sleep_until(due += stepTime);
                }
                most.include(usage(program.id()));
            }
            usages.push_back(most);
            const auto progress = film.progress();
            printRow(what, std::chrono::duration<double, std::ratio<60>>(due - begin).count(), most,
                     progress);
            if (progress.pictures == std::exchange(pictures, progress.pictures))
                complaints.emplace_back("no picture came for a whole row of the table");
        }
    }
    program.closeInput();
    const auto progress = film.finish();
    for (const auto& found : {growth(usages), progress.problems})
        complaints.insert(complaints.end(), found.begin(), found.end());
    if (program.wait() != 0)
        complaints.emplace_back("the program did not end as it should");
    if (progress.clipboards == 0)
        complaints.emplace_back("nothing was copied");
    // What a VNC server does to its own keyboard is its own affair.
    if (std::string(what) == "stream" && keymap(display) != keymapBefore)
        complaints.emplace_back("the keyboard is not as it was");
    return complaints;
}

std::vector<std::string> soakStream(std::chrono::seconds length) {
    const test::XServer server("1280x720x24");
    const auto xrandr = [&](std::vector<std::string> words) {
        words.insert(words.begin(), "xrandr");
        return words;
    };
    for (const auto& words :
         {xrandr({"--newmode", "small", "0", "960", "0", "0", "0", "600", "0", "0", "0"}),
          xrandr({"--addmode", "screen", "small"})})
        test::Process(words, {{"DISPLAY", server.display()}}).wait();
    return soak("stream", server.display(), {},
                {xrandr({"--output", "screen", "--mode", "small"}),
                 xrandr({"--output", "screen", "--mode", "1280x720"})},
                length);
}

std::vector<std::string> soakVNC(std::chrono::seconds length) {
    const test::Xvnc server(std::nullopt, "1280x720");
    return soak("vnc", server.display(),
                {"--host", "127.0.0.1", "--port", std::to_string(server.port())},
                {{"xrandr", "--fb", "1361x769"}, {"xrandr", "--fb", "1280x720"}}, length);
}

} // namespace
} // namespace soak

int main(int count, char** arguments) {
    const auto minutes = count > 1 ? std::atof(arguments[1]) : 30;
    const std::string only = count > 2 ? arguments[2] : "";
    const auto length = std::chrono::seconds(std::lround(minutes * 60));
    if (length < std::chrono::seconds(12) || count > 3) {
        std::fputs("usage: soak [MINUTES] [stream|vnc]\n", stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::puts("            min   MiB RSS  descriptors  pictures   sizes  copied");
    std::vector<std::string> complaints;
    std::mutex lock;
    const auto run = [&](const std::string& what, auto kind) {
        if (!only.empty() && only != what)
            return std::jthread();
        return std::jthread([&, what, kind] {
            std::vector<std::string> found;
            try {
                found = kind(length);
            } catch (const std::exception& error) {
                found.emplace_back(error.what());
            }
            const std::lock_guard guard(lock);
            for (const auto& complaint : found)
                complaints.push_back(what + ": " + complaint);
        });
    };
    {
        const auto local = run("stream", soak::soakStream);
        const auto remote = run("vnc", soak::soakVNC);
    }
    for (const auto& complaint : complaints)
        std::printf("%s\n", complaint.c_str());
    std::puts(complaints.empty() ? "All is as it should be." : "FAILED");
    return complaints.empty() ? 0 : 1;
}
