#include "platform/h264/FramePlanner.h"

#include <algorithm>
#include <cstdlib>

namespace platform::h264 {
namespace {

/// Finer ones polish what no eye sees, for bits that the next change needs.
constexpr int usualQuantiser = 18;
/// On a screen that has been still for a while nothing else needs the bits.
constexpr int stillQuantiser = 12;

} // namespace

FramePlanner::FramePlanner(int width, int height)
    : blocks(static_cast<std::size_t>(macroblocks(width)) *
             static_cast<std::size_t>(macroblocks(height))),
      shifts(width, height),
      quality(width, height) {}

void FramePlanner::follow(const ImageBuffer& frame) {
    blocks.follow(frame->changes);
    newest = frame;
    isRepetition = newest == before;
}

int FramePlanner::finest() const {
    return std::min(isRepetition && repetitions > 0 ? stillQuantiser : usualQuantiser, coarsest);
}

FramePlan FramePlanner::plan(bool key, std::int64_t maxBits) {
    if (key)
        shifts.startOver();
    shift = shifts.find(*newest, blocks.map());
    quality.assess(key ? nullptr : before.get(), *newest, blocks.map(), shift);
    planned = forecast.quantiser(quality.work(), maxBits, finest(), coarsest);
    return {.key = key,
            .quantiser = planned,
            .bits = forecast.bits(quality.work(), planned),
            .searchRows = isSteady() ? 0 : std::abs(shift.rows),
            .references = std::max(shift.framesAgo, 1),
            .constant = blocks.map()};
}

/// The vectors of the frame before, scaled to how long ago the reference was, are where x264 begins
/// to search, so that it finds at once what has moved as far once more.
bool FramePlanner::isSteady() const {
    return shift.framesAgo == lastShift.framesAgo && shift.rows == lastShift.rows;
}

void FramePlanner::encoded(std::int64_t bits) {
    forecast.learn(quality.work(), planned, bits);
    quality.encoded(planned);
    blocks.encoded();
    shifts.advance();
    repetitions = isRepetition ? repetitions + 1 : 0;
    before = newest;
    lastShift = shift;
}

} // namespace platform::h264
