#include "bench/Figures.h"
#include "bench/Table.h"
#include "bench/Usage.h"
#include "rfb/RFBSocket.h"
#include "support/Program.h"
#include "support/ScriptedServer.h"
#include "support/Wire.h"
#include "support/XRecorder.h"
#include "support/XServer.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <random>
#include <stdexcept>
#include <string_view>
#include <thread>

/// Measures the road of the phone's messages from the control line to their effect: the event at an
/// X client, the message at a VNC server, the key frame. Beside them programs that do nothing but
/// ask for the same.
namespace bench {
namespace {

using namespace std::chrono_literals;
using test::XInput;

constexpr int samples = 500;
constexpr int keyFrames = 5;
constexpr int burst = 10'000;
constexpr int bursts = 10;

/// Where the phone's n-th move goes; each one is another place than the one before.
int placeOf(int number) {
    return number % 1000;
}

std::string moveLine(int number) {
    return R"({"t":"move","x":)" + std::to_string(placeOf(number) / 1919.0) + R"(,"y":0.5})";
}

/// From `act` until an event of this kind has arrived, many times with pauses like the phone's.
std::vector<double> latencies(test::XRecorder& client, XInput::Kind kind,
                              const std::function<void(int)>& act) {
    std::vector<double> times;
    std::mt19937 random(7);
    for (int number = 1; number <= samples; ++number) {
        std::this_thread::sleep_for(std::chrono::microseconds(2'000 + random() % 5'000));
        client.forget();
        const auto begin = Clock::now();
        act(number);
        if (!test::eventually([&] { return !client.events(kind).empty(); }))
            throw std::runtime_error("an event was lost");
        times.push_back(milliseconds(client.events(kind).front().arrived - begin));
    }
    return times;
}

/// From the first of many moves until the client has got the last; checks their order.
double timeOfBurst(test::XRecorder& client, const std::function<void()>& act) {
    client.forget();
    const auto begin = Clock::now();
    act();
    const auto isLast = [&](const XInput& event) { return event.x == placeOf(burst); };
    if (!test::eventually([&] {
            const auto moves = client.events(XInput::Kind::motion);
            return moves.size() == burst && isLast(moves.back());
        }))
        throw std::runtime_error("moves were lost");
    const auto moves = client.events(XInput::Kind::motion);
    for (int number = 1; number <= burst; ++number)
        if (moves[static_cast<std::size_t>(number - 1)].x != placeOf(number))
            throw std::runtime_error("moves arrived out of order");
    return milliseconds(moves.back().arrived - begin);
}

/// A text whose characters the keyboard lacks, without repetitions.
std::string ideographs(int count) {
    std::string text;
    for (int index = 0; index < count; ++index) {
        const auto scalar = static_cast<unsigned>(0x4e00 + index);
        text += static_cast<char>(0xe0 | scalar >> 12);
        text += static_cast<char>(0x80 | (scalar >> 6 & 0x3f));
        text += static_cast<char>(0x80 | (scalar & 0x3f));
    }
    return text;
}

double timeOfText(test::XRecorder& client, test::Program& phone, const std::string& text) {
    client.forget();
    const auto begin = Clock::now();
    phone.type(text);
    if (!test::eventually([&] { return client.text() == text; }, 60s))
        throw std::runtime_error("the text arrived wrong");
    return milliseconds(client.events(XInput::Kind::keyPress).back().arrived - begin);
}

void compare(Table& table, const std::string& display) {
    test::XRecorder client(display, {0, 0, 1920, 1080});
    const test::XClient bare(display);
    test::Program phone(display);
    const auto bareMove = [&](int number) { bare.movePointer(placeOf(number), 540); };
    const auto flush = [&] { xcb_flush(bare.connection()); };

    table.rows(
        "move", "ms",
        latencies(client, XInput::Kind::motion, [&](int number) { phone.line(moveLine(number)); }),
        latencies(client, XInput::Kind::motion, [&](int number) {
            bareMove(number);
            flush();
        }));
    const auto idle = [&](const auto& send) {
        return latencies(client, XInput::Kind::buttonPress, [&](int) { send(); });
    };
    const auto bareButton = [&](std::uint8_t button) {
        return [&, button] {
            bare.click(button);
            flush();
        };
    };
    table.rows("click", "ms", idle([&] { phone.line(R"({"t":"click"})"); }), idle(bareButton(1)));
    table.rows("scroll", "ms", idle([&] { phone.line(R"({"t":"scroll","dy":40})"); }),
               idle(bareButton(5)));

    std::string lines;
    for (int number = 1; number <= burst; ++number)
        lines += moveLine(number) + "\n";
    const auto ours = timeOfBurst(client, [&] { phone.write(lines); });
    const auto memoryAfterOne = peakMemory(phone.id());
    table.row("10,000 moves at once", "ms", ours, timeOfBurst(client, [&] {
                  for (int number = 1; number <= burst; ++number)
                      bareMove(number);
                  flush();
              }));
    for (int number = 1; number < bursts; ++number)
        timeOfBurst(client, [&] { phone.write(lines); });
    table.row("peak memory after 10 bursts; after 1", "MiB", peakMemory(phone.id()),
              memoryAfterOne);

    // A long text holds up the new characters behind it, so these come first.
    const auto ideograph = timeOfText(client, phone, ideographs(200)) / 200;
    const auto letter = timeOfText(client, phone, std::string(2000, 'x')) / 2000;
    table.row("bare client: ideograph; letter", "ms", ideograph, letter);
}

/// From a wish for a key frame until it is here, while nothing else moves.
std::vector<double> keyFrameTimes(test::Process& process) {
    std::vector<double> times;
    std::mt19937 random(7);
    for (int number = 0; number < keyFrames; ++number) {
        // Longer than the picture's own refreshes take.
        std::this_thread::sleep_for(std::chrono::microseconds(1'400'000 + random() % 50'000));
        while (process.frame(orvel::FrameType::video, 1ms)) {
        }
        const auto begin = Clock::now();
        process.line(R"({"t":"idr"})");
        const auto frame = process.frame(orvel::FrameType::video);
        if (!frame || !test::video(*frame).key)
            throw std::runtime_error("no key frame");
        times.push_back(milliseconds(Clock::now() - begin));
    }
    return times;
}

/// From a line, or from the bytes it is to become, until a server has them.
std::vector<double> timesToServer(const std::function<void(int)>& act,
                                  const std::atomic<std::int64_t>& arrived) {
    std::vector<double> times;
    std::mt19937 random(7);
    for (int number = 1; number <= samples; ++number) {
        std::this_thread::sleep_for(std::chrono::microseconds(2'000 + random() % 5'000));
        const auto before = arrived.load();
        const auto begin = Clock::now();
        act(number);
        arrived.wait(before);
        times.push_back(milliseconds(TimePoint(std::chrono::nanoseconds(arrived)) - begin));
    }
    return times;
}

/// The same for a remote desktop, beside a bare socket that carries the same messages.
void compareRemote(Table& table) {
    std::atomic<std::int64_t> arrived{0};
    const auto receiving = [&](test::ServerSide& side) {
        while (!side.receive().empty()) {
            arrived = Clock::now().time_since_epoch().count();
            arrived.notify_all();
        }
    };
    test::ListeningServer desktop([&](test::ServerSide& side) {
        side.send(test::greeting(1920, 1080));
        side.send(test::solidRaw(0, 0, 1920, 1080, 90));
        receiving(side);
    });
    test::Program remote(desktop.port());
    remote.announced();
    remote.nextVideo();
    test::ListeningServer plain(receiving);
    orvel::RFBSocket socket("127.0.0.1", plain.port());
    const auto bareMove = [&](int number) {
        const auto x = orvel::be16(placeOf(number));
        constexpr auto y = orvel::be16(540);
        constexpr std::uint8_t pointerEvent = 5;
        socket.write(std::array<std::uint8_t, 6>{pointerEvent, 0, x[0], x[1], y[0], y[1]});
    };
    const auto ours = timesToServer([&](int number) { remote.line(moveLine(number)); }, arrived);
    table.rows("remote move", "ms", ours, timesToServer(bareMove, arrived));
    const auto keys = keyFrameTimes(remote);
    table.row("remote idr to key frame, still, median", "ms", quantile(keys, 0.5));
}

void measure(Table& table) {
    {
        const test::XServer server("1920x1080x24");
        compare(table, server.display());
        test::Process stream({ORVEL_SCREEN, "stream"}, {{"DISPLAY", server.display()}});
        stream.line(R"({"t":"start"})");
        stream.frame(orvel::FrameType::video);
        const auto keys = keyFrameTimes(stream);
        table.row("idr to key frame, still, median", "ms", quantile(keys, 0.5));
    }
    compareRemote(table);
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    return bench::printTable(
        count, arguments, "the same requests from a bare XTEST client or socket", bench::measure);
}
