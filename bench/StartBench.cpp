#include "bench/Figures.h"
#include "bench/Table.h"
#include "support/Process.h"
#include "support/XServer.h"

/// Measures how long it takes to start the program and have its answer.
namespace bench {
namespace {

constexpr int runs = 40;

double timeOf(const std::vector<std::string>& command, const std::string& display) {
    const auto begin = Clock::now();
    test::Process process(command, {{"DISPLAY", display}});
    process.rest();
    return milliseconds(Clock::now() - begin);
}

void measure(Table& table) {
    const test::XServer server("1920x1080x24");
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int run = 0; run < runs; ++run) {
        ours.push_back(timeOf({ORVEL_SCREEN, "info"}, server.display()));
        theirs.push_back(timeOf({"xrandr", "--listmonitors"}, server.display()));
    }
    table.rows("start to the end of info's output", "ms", ours, theirs);
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    return bench::printTable(count, arguments, "xrandr --listmonitors", bench::measure);
}
