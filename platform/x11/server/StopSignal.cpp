#include "platform/x11/server/StopSignal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace platform::x11 {

StopSignal::StopSignal() : event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

StopSignal::~StopSignal() {
    close(event);
}

void StopSignal::set() const {
    eventfd_write(event, 1);
}

bool StopSignal::rest(int descriptor, std::optional<MediaTime> until) const {
    timespec left{};
    if (until) {
        constexpr std::int64_t second = 1'000'000'000;
        const auto nanoseconds = std::max<std::int64_t>((*until - hostTime()).count(), 0);
        left = {nanoseconds / second, nanoseconds % second};
    }
    // A descriptor of -1 is passed over.
    std::array<pollfd, 2> waiting{{{event, POLLIN, 0}, {descriptor, POLLIN, 0}}};
    ppoll(waiting.data(), waiting.size(), until ? &left : nullptr, nullptr);
    return waiting[0].revents != 0;
}

} // namespace platform::x11
