#include "platform/h264/ConstantBlocks.h"

#include <utility>

namespace platform::h264 {

void ConstantBlocks::follow(const FrameChanges& changes) {
    const auto before = std::exchange(newest, changes.serial);
    if (changes.serial == 0)
        return nothingIsKnown();
    if (changes.serial == before)
        return;
    if (before == 0 || changes.predecessor != before ||
        changes.changedBlocks.size() != constant.size())
        return nothingIsKnown();
    for (std::size_t i = 0; i < constant.size(); ++i)
        constant[i] = constant[i] && !changes.changedBlocks[i];
}

} // namespace platform::h264
