#include "support/Usage.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace test {

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

double peakMemory(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (file >> word)
        if (word == "VmHWM:") {
            double kibibytes = 0;
            file >> kibibytes;
            return kibibytes / 1024;
        }
    return 0;
}

} // namespace test
