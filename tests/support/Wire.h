#pragma once

#include "app/host/BigEndian.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace test {

/// Puts together what goes over the wire, field by field; all integers big-endian.
class Wire {
public:
    Wire& u8(int value) { return append(std::vector{static_cast<std::uint8_t>(value)}); }
    Wire& u16(int value) { return append(orvel::be16(value)); }
    Wire& u32(std::uint32_t value) { return append(orvel::be32(value)); }
    Wire& i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }
    Wire& text(std::string_view value) { return append(value); }
    Wire& zeros(std::size_t count) { return append(std::vector<std::uint8_t>(count)); }
    /// A text behind its length.
    Wire& string(std::string_view value) {
        return u32(static_cast<std::uint32_t>(value.size())).text(value);
    }

    template<class Bytes>
    Wire& append(const Bytes& more) {
        const auto size = bytes.size();
        bytes.resize(size + more.size());
        std::ranges::copy(more, bytes.begin() + static_cast<std::ptrdiff_t>(size));
        return *this;
    }

    operator std::vector<std::uint8_t>() const { return bytes; }     // NOLINT: it is nothing else
    operator std::span<const std::uint8_t>() const { return bytes; } // NOLINT

    std::vector<std::uint8_t> bytes;
};

} // namespace test
