#include "support/Deflater.h"

#include <zlib.h>

#include <stdexcept>

namespace test {

struct Deflater::State {
    z_stream stream{};
};

Deflater::Deflater(int level) : state(std::make_unique<State>()) {
    if (deflateInit(&state->stream, level) != Z_OK)
        throw std::runtime_error("deflateInit");
}

Deflater::~Deflater() {
    deflateEnd(&state->stream);
}

std::vector<std::uint8_t> Deflater::piece(std::span<const std::uint8_t> data) {
    return deflated(data, Z_SYNC_FLUSH);
}

std::vector<std::uint8_t> Deflater::end(std::span<const std::uint8_t> data) {
    return deflated(data, Z_FINISH);
}

std::vector<std::uint8_t> Deflater::deflated(std::span<const std::uint8_t> data, int flush) {
    auto& stream = state->stream;
    constexpr std::size_t flushRoom = 64;
    std::vector<std::uint8_t> result(deflateBound(&stream, data.size()) + flushRoom);
    stream.next_in = const_cast<std::uint8_t*>(data.data());
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = result.data();
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, flush);
    result.erase(result.end() - stream.avail_out, result.end());
    return result;
}

} // namespace test
