#include "bench/Recording.h"
#include "bench/Table.h"
#include "support/Phone.h"
#include "support/Usage.h"
#include "support/XRecorder.h"
#include "support/XServer.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>
#include <stdexcept>
#include <string_view>
#include <thread>

/// Measures the road of the phone's input from the control line to the event at an X client,
/// beside a program that does nothing but ask the X server for the same event.
namespace bench {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using test::XInput;

constexpr int samples = 500;
constexpr int burst = 10'000;
constexpr int bursts = 10;

double milliseconds(Clock::duration span) {
    return std::chrono::duration<double, std::milli>(span).count();
}

double quantile(std::vector<double> values, double share) {
    std::ranges::sort(values);
    return values.at(static_cast<std::size_t>(share * static_cast<double>(values.size() - 1)));
}

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

void row(Table& table, const std::string& what, const std::vector<double>& ours,
         const std::vector<double>& theirs) {
    table.row(what + ", median", "ms", quantile(ours, 0.5), quantile(theirs, 0.5));
    table.row(what + ", 95 %", "ms", quantile(ours, 0.95), quantile(theirs, 0.95));
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

double timeOfText(test::XRecorder& client, test::Phone& phone, const std::string& text) {
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
    test::Phone phone(ORVEL_SCREEN, display);
    const auto bareMove = [&](int number) { bare.movePointer(placeOf(number), 540); };
    const auto flush = [&] { xcb_flush(bare.connection()); };

    row(table, "move",
        latencies(client, XInput::Kind::motion,
                  [&](int number) { phone.process.line(moveLine(number)); }),
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
    row(table, "click", idle([&] { phone.process.line(R"({"t":"click"})"); }), idle(bareButton(1)));
    row(table, "scroll", idle([&] { phone.process.line(R"({"t":"scroll","dy":40})"); }),
        idle(bareButton(5)));

    std::string lines;
    for (int number = 1; number <= burst; ++number)
        lines += moveLine(number) + "\n";
    const auto ours = timeOfBurst(client, [&] { phone.process.write(lines); });
    const auto memoryAfterOne = test::peakMemory(phone.process.id());
    table.row("10,000 moves at once", "ms", ours, timeOfBurst(client, [&] {
                  for (int number = 1; number <= burst; ++number)
                      bareMove(number);
                  flush();
              }));
    for (int number = 1; number < bursts; ++number)
        timeOfBurst(client, [&] { phone.process.write(lines); });
    table.row("peak memory after 10 bursts; after 1", "MiB", test::peakMemory(phone.process.id()),
              memoryAfterOne);

    // A long text holds up the new characters behind it, so these come first.
    const auto ideograph = timeOfText(client, phone, ideographs(200)) / 200;
    const auto letter = timeOfText(client, phone, std::string(2000, 'x')) / 2000;
    table.row("bare client: ideograph; letter", "ms", ideograph, letter);
    test::XRecorder toolkit(display, {0, 0, 1920, 1080}, {}, true);
    table.row("ideograph: client that answers; bare", "ms",
              timeOfText(toolkit, phone, ideographs(400)) / 400, ideograph);
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    const bool json = count > 1 && std::string_view(arguments[1]) == "--json";
    test::XServer server("1920x1080x24");
    bench::Table table("the same requests from a bare XTEST client");
    bench::compare(table, server.display());
    std::fputs((json ? table.json() : table.text()).c_str(), stdout);
}
