#include "app/Signals.h"

#include "app/host/HostChannel.h"

#include <pthread.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace orvel {
namespace {

/// How long a parent that takes nothing may hold up what it is told to end.
constexpr auto standstill = std::chrono::seconds(1);

bool isIgnored(int number) {
    struct sigaction present {};
    return sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

} // namespace

void exitOnSignals() {
    sigset_t signals{};
    sigemptyset(&signals);
    for (const int number : {SIGHUP, SIGINT, SIGTERM})
        if (!isIgnored(number))
            sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // A handler could do next to nothing, and would interrupt any thread.
    std::thread([signals] {
        pthread_setname_np(pthread_self(), "orvel.signals");
        int number = 0;
        sigwait(&signals, &number);
        flushAndExit(standstill);
    }).detach();
}

} // namespace orvel
