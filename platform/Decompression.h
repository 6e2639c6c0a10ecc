#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace platform {

/// One raw DEFLATE stream (RFC 1951) on its way through the decoder. It arrives in pieces of any
/// size, and each step goes on where the last one stopped. Belongs to one thread at a time.
class DecompressionStream final {
public:
    /// Throws std::bad_alloc.
    DecompressionStream();
    ~DecompressionStream();
    DecompressionStream(const DecompressionStream&) = delete;
    DecompressionStream& operator=(const DecompressionStream&) = delete;

    enum class Status {
        ok,
        end,   ///< The last block is complete; what follows in the source is not looked at.
        error, ///< Not DEFLATE data. The stream can't be used any more.
    };
    struct Step {
        Status status;
        std::size_t consumed; ///< Of the source.
        std::size_t produced; ///< At the front of the destination.
    };
    /// Decodes until the source is used up or the destination full. A destination that was not
    /// filled means that everything was decoded that the source holds up to its last flush; what
    /// lies behind that may show only with the bytes that follow.
    Step decode(std::span<const std::uint8_t> source, std::span<std::uint8_t> destination);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace platform
