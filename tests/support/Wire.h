#pragma once

#include "app/host/BigEndian.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace test {

using Bytes = std::vector<std::uint8_t>;

/// Puts together what goes over the wire (RFC 6143), field by field; all integers big-endian.
class Wire : public Bytes {
public:
    using Bytes::Bytes;

    Wire& u8(int value) { return append(Bytes{static_cast<std::uint8_t>(value)}); }
    Wire& u16(int value) { return append(orvel::be16(value)); }
    Wire& u32(std::uint32_t value) { return append(orvel::be32(value)); }
    Wire& i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }
    Wire& text(std::string_view value) { return append(value); }
    Wire& zeros(std::size_t count) { return append(Bytes(count)); }
    /// A text behind its length.
    Wire& string(std::string_view value) {
        return u32(static_cast<std::uint32_t>(value.size())).text(value);
    }
    Wire& rectangle(int x, int y, int w, int h, std::int32_t encoding) {
        return u16(x).u16(y).u16(w).u16(h).i32(encoding);
    }

    template<class Range>
    Wire& append(const Range& more) {
        const auto before = size();
        resize(before + more.size());
        std::ranges::copy(more, begin() + static_cast<std::ptrdiff_t>(before));
        return *this;
    }
};

/// Everything up to the end of the handshake of a server that asks for nothing.
inline Wire greeting(int w, int h, std::string_view name = "desk") {
    return Wire().text("RFB 003.008\n").u8(1).u8(1).u32(0).u16(w).u16(h).zeros(16).string(name);
}

inline Wire update(int rectangles) {
    return Wire().u16(0).u16(rectangles);
}

/// An update with one rectangle, without what follows its head.
inline Wire updateOf(int x, int y, int w, int h, std::int32_t encoding) {
    return update(1).rectangle(x, y, w, h, encoding);
}

/// Raw pixels that are all of one gray.
inline Wire solidRaw(int x, int y, int w, int h, std::uint8_t shade) {
    return updateOf(x, y, w, h, 0)
        .append(Bytes(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4, shade));
}

} // namespace test
