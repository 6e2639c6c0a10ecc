#include "platform/PixelTransfer.h"

#include "platform/picture/PictureMaker.h"

#include <new>

namespace platform {

struct PixelTransferSession::State {
    State(int sourceWidth, int sourceHeight, int videoWidth, int videoHeight)
        : width(sourceWidth),
          height(sourceHeight),
          maker(videoWidth, videoHeight) {
        maker.setSourceSize(sourceWidth, sourceHeight);
    }

    int width;
    int height;
    picture::PictureMaker maker;
};

PixelTransferSession::PixelTransferSession() = default;
PixelTransferSession::~PixelTransferSession() = default;

void PixelTransferSession::setSizes(int sourceWidth, int sourceHeight, int videoWidth,
                                    int videoHeight) try {
    state.reset(); // Before memory for the next is needed.
    state = std::make_unique<State>(sourceWidth, sourceHeight, videoWidth, videoHeight);
} catch (const std::bad_alloc&) {
    return; // `transfer` will tell.
}

void PixelTransferSession::changed(int x, int y, int w, int h) {
    if (state)
        state->maker.mark({x, y, w, h});
}

ImageBuffer PixelTransferSession::transfer(const PictureView& source) try {
    if (!state || source.width != state->width || source.height != state->height)
        return nullptr;
    return state->maker.make(source);
} catch (const std::bad_alloc&) {
    return nullptr;
}

} // namespace platform
