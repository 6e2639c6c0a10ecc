#include "platform/decisions/FrameSchedule.h"

#include <algorithm>
#include <utility>

namespace platform {
namespace {

using namespace std::chrono_literals;

/// How long a monitor may be off, as in a change of mode or after a nap, or its contents not to be
/// had, before the capture is over.
constexpr auto maxUnavailable = 3s;

/// A pointer that nobody reports is seen within this and a frame's interval.
constexpr auto pointerPause = 150ms;

/// The longest that a change may go unseen because its report was lost, as some drivers do.
constexpr std::chrono::nanoseconds maxVerificationPause = 2s;
/// The same while such changes are being found. Each verification that finds none doubles it.
constexpr std::chrono::nanoseconds minVerificationPause = 250ms;
/// A verification takes no more than this part of the time: one that goes over a network may take
/// most of a second.
constexpr int verificationShare = 50;

} // namespace

FrameSchedule::FrameSchedule(std::chrono::nanoseconds interval, Reports reports)
    : interval(interval),
      reports(reports),
      verificationPause(maxVerificationPause) {}

FrameSchedule::Plan FrameSchedule::next(bool somethingChanged) const {
    if (unavailableSince) {
        const auto end = *unavailableSince + maxUnavailable;
        if (!screenIsThere || nextFrame() >= end)
            return {Step::giveUp, end};
        return {Step::look, nextFrame(), false};
    }
    // What happens before a frame that is due anyway changes nothing.
    if (somethingChanged || !reports.changes)
        return {Step::look, nextFrame(), false};
    Plan plan;
    if (verification)
        plan.due = std::max(*verification, nextFrame());
    const auto pointerDue = pointerAsked + pointerPause;
    if (!reports.pointerMoves && (!plan.due || pointerDue < *plan.due))
        plan = {Step::askForPointer, pointerDue};
    return plan;
}

bool FrameSchedule::startLook(MediaTime now) {
    const auto due = nextFrame();
    lastFrame = now - due < interval / 4 ? due : now;
    pointerAsked = now;
    if (!verification || now < *verification)
        return !reports.changes;
    verification.reset();
    verifyingSince = now;
    return true;
}

void FrameSchedule::endLook(MediaTime now, bool foundUnreported) {
    unavailableSince.reset();
    if (!reports.changes || reports.areReliable)
        return;
    if (const auto since = std::exchange(verifyingSince, std::nullopt)) {
        verificationCost = now - *since;
        const bool wasLast = !foundUnreported && verificationPause == maxVerificationPause;
        verificationPause = foundUnreported ? minVerificationPause
                                            : std::min(2 * verificationPause, maxVerificationPause);
        if (wasLast)
            return; // until something has changed
    } else if (verification)
        return;
    verification = now + std::max(verificationPause, verificationShare * verificationCost);
}

void FrameSchedule::failLook(MediaTime now) {
    verifyingSince.reset();
    if (!unavailableSince)
        unavailableSince = now;
}

void FrameSchedule::setScreenIsThere(bool isThere, MediaTime now) {
    screenIsThere = isThere;
    if (!isThere && !unavailableSince)
        unavailableSince = now;
}

} // namespace platform
