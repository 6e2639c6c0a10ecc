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

    /// Everything the input decodes to, which the caller expects to be `expect` bytes. Lives until
    /// the next call. Throws RFBError::broken if the input is damaged, if its output is larger than
    /// `expect` by more than 64 KiB, or if there was no memory for the decompressor; the inflater
    /// can't be used afterwards.
    std::span<const std::uint8_t> inflate(std::span<const std::uint8_t> input,
                                          std::ptrdiff_t expect);

private:
    std::unique_ptr<platform::DecompressionStream> stream; // null if there was no memory for it
    std::size_t headerLeft = 2; // bytes of the zlib header still to be skipped
    Scratch<std::uint8_t> output;
};

} // namespace orvel
