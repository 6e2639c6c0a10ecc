#include "fuzz/Fuzz.h"
#include "rfb/Inflater.h"
#include "rfb/RFBError.h"
#include "support/Deflater.h"

#include <zlib.h>

using fuzz::Bytes;

namespace {

struct Inflated {
    Bytes bytes;
    bool damaged = false;
    bool ended = false;
};

/// What zlib makes of a stream, given to it as a whole.
Inflated inflatedByZlib(Bytes stream) {
    constexpr std::size_t header = 2;
    constexpr int rawDeflate = -15;
    Inflated result;
    if (stream.size() <= header)
        return result;
    z_stream zlib{};
    fuzz::require(inflateInit2(&zlib, rawDeflate) == Z_OK, "zlib starts");
    zlib.next_in = stream.data() + header;
    zlib.avail_in = static_cast<uInt>(stream.size() - header);
    int status = Z_OK;
    while (status == Z_OK) {
        Bytes chunk(65536);
        zlib.next_out = chunk.data();
        zlib.avail_out = static_cast<uInt>(chunk.size());
        status = inflate(&zlib, Z_NO_FLUSH);
        result.bytes.insert(result.bytes.end(), chunk.begin(), chunk.end() - zlib.avail_out);
    }
    result.damaged = status == Z_DATA_ERROR;
    result.ended = status == Z_STREAM_END;
    inflateEnd(&zlib);
    return result;
}

/// So that matches reach back as far as they can.
Bytes repeated(const Bytes& bytes, int times) {
    Bytes all;
    for (int time = 0; time < times; ++time)
        all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

/// A stream of this content, flushed after each piece as a server does.
Bytes deflated(std::span<const std::uint8_t> content, int level, std::size_t piece) {
    test::Deflater deflater(level);
    Bytes stream;
    while (!content.empty()) {
        const auto next = content.first(std::min(piece, content.size()));
        const auto bytes = deflater.piece(next);
        stream.insert(stream.end(), bytes.begin(), bytes.end());
        content = content.subspan(next.size());
    }
    return stream;
}

} // namespace

/// However a stream is cut into pieces, the inflater and zlib agree on what it holds, as far as it
/// is sound.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t tolerance = 65536;
    FuzzedDataProvider input(data, size);
    const auto piece = input.ConsumeIntegralInRange<std::size_t>(1, 4096);
    const auto expect = input.ConsumeIntegralInRange<std::ptrdiff_t>(0, 1 << 20);
    const bool compress = input.ConsumeBool();
    const auto level = input.ConsumeIntegralInRange<int>(0, 9);
    const auto times = input.ConsumeIntegralInRange<int>(1, 40);
    auto stream = input.ConsumeRemainingBytes<std::uint8_t>();
    if (compress)
        stream = deflated(repeated(stream, times), level, piece + 50);
    const auto expected = inflatedByZlib(stream);

    orvel::Inflater inflater;
    Bytes all;
    try {
        std::span<const std::uint8_t> rest(stream);
        while (!rest.empty()) {
            const Bytes exact(rest.begin(), rest.begin() + std::min(piece, rest.size()));
            const auto bytes = inflater.inflate(exact, expect);
            fuzz::require(bytes.size() <= expect + tolerance, "the output has its limit");
            all.insert(all.end(), bytes.begin(), bytes.end());
            rest = rest.subspan(exact.size());
        }
    } catch (const orvel::RFBError& error) {
        if (error.message().ends_with("did not decompress."))
            // Damage may show earlier than zlib looks for it, as long as zlib has not got through.
            fuzz::require(!compress && !expected.ended, "no sound stream is damaged");
        else
            fuzz::require(expected.bytes.size() > all.size() + expect + tolerance,
                          "only what is too much is refused");
        return 0;
    }
    // What zlib calls damaged the inflater may not, such as a code with more words than it uses.
    const auto common = std::min(all.size(), expected.bytes.size());
    fuzz::require(std::equal(all.begin(), all.begin() + common, expected.bytes.begin()),
                  "both see the same pixels");
    // Up to three literals and a match are looked up at once, so without a flush they may wait.
    const std::size_t waiting = compress ? 0 : 3 + 258;
    fuzz::require(expected.damaged ||
                      (all.size() == common && common + waiting >= expected.bytes.size()),
                  "and all of them");
    return 0;
}
