#include "platform/Decompression.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <limits>

namespace platform {
namespace {

std::uint32_t bounded(std::size_t size) {
    return static_cast<std::uint32_t>(
        std::min<std::size_t>(size, std::numeric_limits<std::uint32_t>::max()));
}

} // namespace

struct DecompressionStream::State {
    State() { isal_inflate_init(&inflate); }
    inflate_state inflate;
};

DecompressionStream::DecompressionStream() : state(std::make_unique<State>()) {}
DecompressionStream::~DecompressionStream() = default;

DecompressionStream::Step DecompressionStream::decode(std::span<const std::uint8_t> source,
                                                      std::span<std::uint8_t> destination) {
    auto& inflate = state->inflate;
    const auto available = bounded(source.size());
    const auto room = bounded(destination.size());
    // The decoder only reads through this pointer, it just does not say so.
    inflate.next_in = const_cast<std::uint8_t*>(source.data());
    inflate.avail_in = available;
    inflate.next_out = destination.data();
    inflate.avail_out = room;
    const int result = isal_inflate(&inflate);
    Step step{Status::ok, available - inflate.avail_in, room - inflate.avail_out};
    if (result != ISAL_DECOMP_OK)
        step.status = Status::error;
    else if (inflate.block_state == ISAL_BLOCK_FINISH)
        step.status = Status::end;
    return step;
}

} // namespace platform
