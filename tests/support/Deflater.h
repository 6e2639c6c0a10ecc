#pragma once

#include <zlib.h>

#include <cstdint>
#include <span>
#include <vector>

namespace test {

/// One zlib stream as a VNC server makes it: each piece can be decompressed to its last byte when
/// it arrives, and builds on those before it.
class Deflater {
public:
    explicit Deflater(int level = 6) { deflateInit(&stream, level); }
    ~Deflater() { deflateEnd(&stream); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    std::vector<std::uint8_t> piece(std::span<const std::uint8_t> data) {
        return deflated(data, Z_SYNC_FLUSH);
    }
    /// The last piece, with which the stream ends.
    std::vector<std::uint8_t> end(std::span<const std::uint8_t> data) {
        return deflated(data, Z_FINISH);
    }

private:
    std::vector<std::uint8_t> deflated(std::span<const std::uint8_t> data, int flush) {
        constexpr std::size_t flushRoom = 64;
        std::vector<std::uint8_t> result(deflateBound(&stream, data.size()) + flushRoom);
        stream.next_in = const_cast<std::uint8_t*>(data.data());
        stream.avail_in = static_cast<uInt>(data.size());
        stream.next_out = result.data();
        stream.avail_out = static_cast<uInt>(result.size());
        deflate(&stream, flush);
        result.resize(result.size() - stream.avail_out);
        return result;
    }

    z_stream stream{};
};

} // namespace test
