#pragma once

#include "support/Deflater.h"
#include "support/Wire.h"

/// What a VNC server sends, put together by hand (RFC 6143).
namespace test {

/// Everything up to the end of the handshake of a server that asks for nothing.
inline Wire greeting(int w, int h) {
    return Wire().text("RFB 003.008\n").u8(1).u8(1).u32(0).u16(w).u16(h).zeros(16).string("desk");
}

inline Wire& rectangle(Wire& wire, int x, int y, int w, int h, std::int32_t encoding) {
    return wire.u16(x).u16(y).u16(w).u16(h).i32(encoding);
}

inline Wire update(int count) {
    return Wire().u8(0).u8(0).u16(count);
}

/// An update with one rectangle, without what follows its head.
inline Wire updateOf(int x, int y, int w, int h, std::int32_t encoding) {
    auto wire = update(1);
    return rectangle(wire, x, y, w, h, encoding);
}

/// Raw pixels that are all of one gray.
inline Wire solidRaw(int x, int y, int w, int h, std::uint8_t value) {
    return updateOf(x, y, w, h, 0)
        .append(std::vector(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4, value));
}

/// One ZRLE rectangle with this data.
inline Wire zrleUpdate(Deflater& deflater, int x, int y, int w, int h,
                       std::span<const std::uint8_t> data) {
    const auto compressed = deflater.piece(data);
    return updateOf(x, y, w, h, 16)
        .u32(static_cast<std::uint32_t>(compressed.size()))
        .append(compressed);
}

} // namespace test
