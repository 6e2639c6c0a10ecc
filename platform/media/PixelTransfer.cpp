#include "platform/PixelTransfer.h"

#include "platform/media/AreaScaler.h"

#include <new>
#include <optional>

namespace platform {
namespace {

media::Area size(const PixelBuffer& picture) {
    return {0, 0, picture.width(), picture.height()};
}

} // namespace

struct PixelTransferSession::State {
    /// For pictures from one size to another, such as the last ones had.
    media::AreaScaler& scalerFor(media::Area source, media::Area target) {
        if (!scaler || source != scaledFrom || target != scaledTo) {
            scaler.emplace(source.width, source.height, target.width, target.height, 4);
            scaledFrom = source;
            scaledTo = target;
        }
        return *scaler;
    }

private:
    std::optional<media::AreaScaler> scaler;
    media::Area scaledFrom;
    media::Area scaledTo;
};

PixelTransferSession::PixelTransferSession() : state(std::make_unique<State>()) {}
PixelTransferSession::~PixelTransferSession() = default;

bool PixelTransferSession::transfer(const PixelBuffer& source, PixelBuffer& target) try {
    if (source.format() != PixelFormat::bgra || target.format() != PixelFormat::bgra)
        return false;
    const auto& from = source.plane(0);
    const auto& to = target.plane(0);
    state->scalerFor(size(source), size(target))
        .scale({from.data, from.bytesPerRow}, {to.data, to.bytesPerRow}, size(target));
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

} // namespace platform
