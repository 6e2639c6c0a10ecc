#include "bench/RemoteSession.h"

#include "bench/Recording.h"
#include "bench/Usage.h"
#include "support/ScriptedServer.h"
#include "support/Wire.h"

#include <future>
#include <random>
#include <semaphore>
#include <thread>

namespace bench {
namespace {

using namespace std::chrono_literals;
using test::ListeningServer;
using test::Process;
using test::ServerSide;

std::vector<std::string> command(const ListeningServer& server) {
    return {ORVEL_SCREEN, "vnc", "--host", "127.0.0.1", "--port", std::to_string(server.port())};
}

constexpr std::string_view startLine = R"({"t":"start","fps":30,"kbps":4000,"maxw":1920})"
                                       "\n";

std::vector<std::uint8_t> updateWith(const Rectangle& rectangle) {
    return test::updateOf(rectangle.x, rectangle.y, rectangle.width, rectangle.height, 16)
        .u32(static_cast<std::uint32_t>(rectangle.data.size()))
        .append(rectangle.data);
}

/// Until no frame has come for longer than the frame rate makes one wait.
void waitForSilence(Recording& recording) {
    std::size_t before = 0;
    while (recording.bytes() != before) {
        before = recording.bytes();
        std::this_thread::sleep_for(200ms);
    }
}

} // namespace

SessionFigures playSession(const Rectangles& rectangles, int width, int height) {
    std::vector<std::vector<std::uint8_t>> updates;
    for (const auto& rectangle : rectangles)
        updates.push_back(updateWith(rectangle));
    std::promise<TimePoint> connection;
    std::promise<void> played;
    ListeningServer server([&](ServerSide& side) {
        connection.set_value(Clock::now());
        side.send(test::greeting(width, height));
        for (const auto& update : updates) {
            side.receive();
            side.send(update);
        }
        played.set_value();
    });
    Process process(command(server));
    process.write(startLine);
    Recording recording(process, StreamFormat::frames);
    const auto connected = connection.get_future().get();
    const auto cpuBefore = cpuTime(process.id());
    played.get_future().get();
    waitForSilence(recording);
    const auto cpu = cpuTime(process.id()) - cpuBefore;
    process.closeInput();
    recording.finish();
    const auto units = recording.accessUnits();
    return {milliseconds(units.back().arrived - connected), milliseconds(cpu),
            static_cast<int>(units.size())};
}

UpdateFigures playUpdates(int count, int width, int height) {
    std::vector<TimePoint> sent;
    std::binary_semaphore next{0};
    std::binary_semaphore ready{0};
    ListeningServer server([&](ServerSide& side) {
        side.send(test::greeting(width, height));
        for (int number = 0; number <= count; ++number) {
            next.acquire();
            sent.push_back(Clock::now());
            const auto shade = static_cast<std::uint8_t>(100 + number);
            side.send(number == 0 ? test::solidRaw(0, 0, width, height, shade)
                                  : test::solidRaw(16 * (number % 100), 100, 16, 32, shade));
            ready.release();
        }
    });
    Process process(command(server));
    std::this_thread::sleep_for(300ms);
    const auto begin = Clock::now();
    process.write(startLine);
    Recording recording(process, StreamFormat::frames);
    std::mt19937 random(5);
    std::chrono::nanoseconds cpuBefore{};
    for (int number = 0; number <= count; ++number) {
        const auto before = recording.bytes();
        next.release();
        ready.acquire();
        while (number > 0 && recording.bytes() == before)
            std::this_thread::sleep_for(1ms);
        if (number == 0)
            recording.waitForFirst();
        // Longer than the distance between two frames, and in step with nothing.
        std::this_thread::sleep_for(std::chrono::microseconds(50'000 + random() % 30'000));
        if (number == 0)
            cpuBefore = cpuTime(process.id());
    }
    const auto cpu = cpuTime(process.id()) - cpuBefore;
    const auto memory = peakMemory(process.id());
    process.closeInput();
    recording.finish();
    const auto units = recording.accessUnits();
    std::vector<double> latencies;
    // The first update belongs to the start.
    for (std::size_t number = 1; number < std::min(sent.size(), units.size()); ++number)
        latencies.push_back(milliseconds(units[number].arrived - sent[number]));
    return {std::move(latencies), milliseconds(cpu) / count,
            milliseconds(units.front().arrived - begin), memory};
}

} // namespace bench
