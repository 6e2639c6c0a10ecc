#include "platform/h264/SendSchedule.h"

#include <algorithm>
#include <utility>

namespace platform::h264 {
namespace {

/// The next change may be larger than the last one.
constexpr std::int64_t withMargin(std::int64_t bytes) {
    return bytes * 5 / 4;
}

} // namespace

void SendSchedule::setAverageBitRate(std::int64_t bitsPerSecond) {
    rate = bitsPerSecond;
    budget.setRate(bitsPerSecond);
}

void SendSchedule::submit(bool wantKey) {
    waiting = true;
    keyOwed = keyOwed || wantKey;
}

std::optional<SendSchedule::Due> SendSchedule::next(MediaTime now) {
    if (held)
        return Due{Step::send, sentBytes.roomFor(held->key ? 0 : held->bytes, now)};
    if (waiting)
        return Due{Step::encode, sentBytes.roomFor(expectedBytes(), now)};
    return std::nullopt;
}

SendSchedule::Order SendSchedule::order(MediaTime frameTime, MediaTime now, bool refresh) {
    refreshing = refresh;
    takenAt = now;
    const auto allowance = budget.allowance(frameTime, keyOwed);
    if (keyOwed)
        return {true, allowance};
    const auto room = sentBytes.room(now);
    if (refresh)
        return {false, std::max<std::int64_t>(room - withMargin(lastChange), 0) * 8 * 4 / 5};
    return {false, std::min(allowance, room * 8)};
}

bool SendSchedule::hasRoomFor(std::int64_t bytes, MediaTime now) {
    foreseen = bytes;
    return sentBytes.roomFor(expectedBytes(), now) <= now;
}

void SendSchedule::takeWaiting() {
    waiting = false;
    foreseen = 0;
}

void SendSchedule::encoded(std::int64_t bytes) {
    held = Held{bytes, std::exchange(keyOwed, false)};
    budget.spend(bytes * 8);
    if (!held->key && !refreshing)
        keepInMind(bytes);
}

/// A blinking cursor does not make a page forgotten that was turned a moment ago.
void SendSchedule::keepInMind(std::int64_t bytes) {
    using namespace std::chrono;
    constexpr auto memory = 4s;
    const auto passed = std::clamp<nanoseconds>(takenAt - lastChangeAt, 0s, memory);
    lastChangeAt = takenAt;
    lastChange =
        std::max(bytes, lastChange - static_cast<std::int64_t>(static_cast<double>(lastChange) *
                                                               duration<double>(passed).count() /
                                                               duration<double>(memory).count()));
}

void SendSchedule::send(MediaTime now) {
    if (const auto sent = std::exchange(held, std::nullopt))
        sentBytes.sent(now, sent->bytes);
}

void SendSchedule::clear() {
    waiting = false;
    held.reset();
}

} // namespace platform::h264
