#pragma once

#include "platform/Decompression.h"
#include "rfb/Scratch.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace orvel {

/// Decompresses the pixels of one connection. All its ZRLE rectangles together are one zlib
/// stream (RFC 1950) that never ends, so there is one inflater for each connection, and it sees
/// every byte in order. Used by the thread that reads the connection.
class Inflater final {
public:
    Inflater();
    /// With a decoder that did not start (null), which `inflate` reports.
    explicit Inflater(std::unique_ptr<platform::DecompressionStream> stream);

    /// Everything the input decodes to, for which `expect` is the size the caller reckons with.
    /// Lives until the next call. Throws RFBError::broken if the input is damaged or its output
    /// larger than `expect` by more than 64 KiB; the inflater can't be used afterwards.
    std::span<const std::uint8_t> inflate(std::span<const std::uint8_t> input,
                                          std::ptrdiff_t expect);

private:
    std::unique_ptr<platform::DecompressionStream> stream;
    std::size_t headerLeft = 2; // bytes of the zlib header still to be skipped
    Scratch<std::uint8_t> output;
};

} // namespace orvel
