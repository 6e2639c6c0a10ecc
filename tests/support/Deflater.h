#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace test {

/// One zlib stream as a VNC server makes it: each piece can be decompressed to its last byte when
/// it arrives, and builds on those before it.
class Deflater {
public:
    explicit Deflater(int level = 6);
    ~Deflater();
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    std::vector<std::uint8_t> piece(std::span<const std::uint8_t> data);
    /// The last piece, with which the stream ends.
    std::vector<std::uint8_t> end(std::span<const std::uint8_t> data);

private:
    std::vector<std::uint8_t> deflated(std::span<const std::uint8_t> data, int flush);

    struct State;
    std::unique_ptr<State> state;
};

} // namespace test
