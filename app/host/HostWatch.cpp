#include "app/host/HostWatch.h"

#include "app/host/HostChannel.h"
#include "platform/Mutex.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>

namespace orvel {
namespace {

using Clock = std::chrono::steady_clock;

/// In milliseconds, as `poll` takes it: how often to look for what it does not report.
constexpr int pauseForSocket = 1000;
constexpr int pauseAtTheEnd = 50;

bool isStreamSocket(int fd) {
    int type = 0;
    socklen_t size = sizeof type;
    return getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

/// Whether the other end of a socket has said that it reads no more. To send no bytes shows it.
bool isShut(int fd) {
    return send(fd, nullptr, 0, MSG_NOSIGNAL | MSG_DONTWAIT) < 0 && errno == EPIPE;
}

} // namespace

struct HostWatch::State {
    platform::Mutex lock;
    std::optional<std::chrono::milliseconds> patience GUARDED_BY(lock);
    Clock::time_point patienceSet GUARDED_BY(lock); // when

    bool isOver(Clock::time_point inputEnded) {
        const platform::MutexLock locked(lock);
        return patience && Clock::now() - std::max(inputEnded, patienceSet) >= *patience;
    }

    [[noreturn]] void watch() {
        const bool isSocket = isStreamSocket(STDOUT_FILENO);
        std::optional<Clock::time_point> inputEnded;
        while (true) {
            // The input is asked only for its end, and only until it has come.
            std::array<pollfd, 2> ends{
                {{inputEnded ? -1 : STDIN_FILENO, POLLRDHUP, 0}, {STDOUT_FILENO, 0, 0}}};
            poll(ends.data(), ends.size(),
                 inputEnded ? pauseAtTheEnd
                 : isSocket ? pauseForSocket
                            : -1);
            if (ends[1].revents != 0 || (isSocket && isShut(STDOUT_FILENO)))
                exitAtOnce();
            if (ends[0].revents != 0)
                inputEnded = Clock::now();
            if (inputEnded && isOver(*inputEnded))
                flushAndExit();
        }
    }
};

HostWatch::HostWatch(std::optional<std::chrono::milliseconds> patience)
    : state(std::make_shared<State>()) {
    if (patience)
        setPatience(*patience);
    std::thread([state = state] {
        pthread_setname_np(pthread_self(), "orvel.watch");
        state->watch();
    }).detach();
}

void HostWatch::setPatience(std::chrono::milliseconds patience) {
    const platform::MutexLock locked(state->lock);
    state->patience = patience;
    state->patienceSet = Clock::now();
}

} // namespace orvel
