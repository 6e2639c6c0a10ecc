#include "platform/h264/SendSchedule.h"

#include <utility>

namespace platform::h264 {

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
        return Due{Step::encode, sentBytes.roomFor(keyOwed ? 0 : typicalBytes(), now)};
    return std::nullopt;
}

SendSchedule::Order SendSchedule::takeWaiting(MediaTime frameTime) {
    waiting = false;
    return {keyOwed, budget.allowance(frameTime, keyOwed)};
}

void SendSchedule::encoded(std::int64_t bytes) {
    held = Held{bytes, std::exchange(keyOwed, false)};
    budget.spend(bytes * 8);
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
