#pragma once

#include <sys/types.h>

#include <chrono>

namespace test {

/// What a running process has used of all processors so far.
std::chrono::nanoseconds cpuTime(pid_t process);
/// Its largest resident size so far, in MiB.
double peakMemory(pid_t process);

} // namespace test
