#include "bench/Usage.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace bench {
namespace {

/// In MiB.
double statusField(pid_t process, std::string_view name) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (file >> word)
        if (word == name) {
            double kibibytes = 0;
            file >> kibibytes;
            return kibibytes / 1024;
        }
    return 0;
}

} // namespace

std::chrono::nanoseconds cpuTime(pid_t process) {
    // The scheduler's own account, to the nanosecond, thread by thread.
    std::chrono::nanoseconds sum{0};
    const auto tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        std::ifstream file(task.path() / "schedstat");
        std::int64_t running = 0;
        file >> running;
        sum += std::chrono::nanoseconds(running);
    }
    return sum;
}

double memory(pid_t process) {
    return statusField(process, "VmRSS:");
}

double peakMemory(pid_t process) {
    return statusField(process, "VmHWM:");
}

long openDescriptors(pid_t process) {
    const std::filesystem::directory_iterator open("/proc/" + std::to_string(process) + "/fd");
    return std::distance(begin(open), end(open));
}

} // namespace bench
