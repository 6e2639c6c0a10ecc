#include "platform/PixelTransfer.h"

#include "platform/picture/FrameMaker.h"

#include <new>
#include <utility>

namespace platform {

struct PixelTransferSession::State {
    int sourceWidth = 0;
    int sourceHeight = 0;
    int videoWidth = 0;
    int videoHeight = 0;
    std::unique_ptr<picture::FrameMaker> maker; // as soon as there is memory for it
};

PixelTransferSession::PixelTransferSession() : state(std::make_unique<State>()) {}
PixelTransferSession::~PixelTransferSession() = default;

void PixelTransferSession::setSizes(int sourceWidth, int sourceHeight, int videoWidth,
                                    int videoHeight) {
    *state = {sourceWidth, sourceHeight, videoWidth, videoHeight, nullptr};
}

void PixelTransferSession::changed(const Area& area) {
    if (state->maker)
        state->maker->mark(area);
}

ImageBuffer PixelTransferSession::transfer(const FrameView& source) try {
    auto& [width, height, videoWidth, videoHeight, maker] = *state;
    if (source.width != width || source.height != height)
        return nullptr;
    if (!maker) {
        auto created = std::make_unique<picture::FrameMaker>(videoWidth, videoHeight);
        created->setSourceSize(width, height);
        maker = std::move(created);
    }
    return maker->make(source);
} catch (const std::bad_alloc&) {
    return nullptr;
}

} // namespace platform
