#include "platform/h264/BitBudget.h"

#include <algorithm>
#include <chrono>

namespace platform::h264 {

BitBudget::BitBudget(std::int64_t bitsPerSecond) : rate(bitsPerSecond), balance(capacity()) {}

void BitBudget::setRate(std::int64_t bitsPerSecond) {
    rate = bitsPerSecond;
    balance = std::clamp(balance, -capacity(), capacity());
}

std::int64_t BitBudget::allowance(MediaTime time, bool key) {
    using namespace std::chrono;
    const auto passed = std::clamp<duration<double>>(time - last, 0s, 1s);
    last = std::max(last, time);
    const auto income = static_cast<std::int64_t>(static_cast<double>(rate) * passed.count());
    balance = std::min(balance + income, capacity());
    // Who is in debt may still spend half of the income: a still screen settles all the same.
    const auto wanted = key ? balance : std::max(balance, income) / 2;
    // The encoder cannot work with next to nothing.
    const auto least = capacity() / 64;
    return std::clamp(wanted, least, capacity());
}

void BitBudget::spend(std::int64_t bits) {
    // Debts beyond half a second are forgotten: they come from content that no quantiser tames.
    balance = std::max(balance - bits, -capacity());
}

} // namespace platform::h264
