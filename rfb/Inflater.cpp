#include "rfb/Inflater.h"

#include "rfb/RFBError.h"

#include <algorithm>
#include <new>

namespace orvel {
namespace {

/// What a rectangle may decompress to beyond its pixels. None needs it, as every subencoding takes
/// less room than the pixels do, but a server is free to send along what is never drawn.
constexpr std::size_t maxExcess = 65536;

/// Output is looked at in steps of this size: damage in the step that goes over the limit is
/// reported as damage.
constexpr std::size_t stepSize = 65536;

std::unique_ptr<platform::DecompressionStream> startedStream() {
    try {
        return std::make_unique<platform::DecompressionStream>();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

Inflater::Inflater() : stream(startedStream()) {}

std::span<const std::uint8_t> Inflater::inflate(std::span<const std::uint8_t> input,
                                                std::ptrdiff_t expect) {
    using Status = platform::DecompressionStream::Status;
    if (!stream)
        throw RFBError::broken("The decompressor did not start.");
    const auto header = std::min(input.size(), headerLeft);
    headerLeft -= header;
    input = input.subspan(header);

    const auto limit = static_cast<std::size_t>(std::max<std::ptrdiff_t>(expect, 0)) + maxExcess;
    const auto room = output.take((limit / stepSize + 1) * stepSize);
    std::size_t size = 0;
    while (!input.empty()) {
        const auto step = stream->decode(input, room.subspan(size));
        if (step.status == Status::error)
            throw RFBError::broken("The remote desktop's pixels did not decompress.");
        input = input.subspan(step.consumed);
        size += step.produced;
        if (size > limit)
            throw RFBError::broken("The remote desktop sent more pixels than its picture holds.");
        if (step.status == Status::end || (step.consumed == 0 && step.produced == 0))
            break;
    }
    return room.first(size);
}

} // namespace orvel
