#pragma once

#include <sys/types.h>

#include <chrono>

namespace bench {

/// What a running process has used of all processors so far.
std::chrono::nanoseconds cpuTime(pid_t process);
/// Its resident size at present, and the largest so far, in MiB.
double memory(pid_t process);
double peakMemory(pid_t process);
/// How many descriptors it has open.
long openDescriptors(pid_t process);

} // namespace bench
