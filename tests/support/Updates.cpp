#include "support/Updates.h"

namespace test {

Wire greeting(int w, int h) {
    return Wire().text("RFB 003.008\n").u8(1).u8(1).u32(0).u16(w).u16(h).zeros(16).string("desk");
}

Wire& rectangle(Wire& wire, int x, int y, int w, int h, std::int32_t encoding) {
    return wire.u16(x).u16(y).u16(w).u16(h).i32(encoding);
}

Wire update(int count) {
    return Wire().u8(0).u8(0).u16(count);
}

Wire updateOf(int x, int y, int w, int h, std::int32_t encoding) {
    auto wire = update(1);
    rectangle(wire, x, y, w, h, encoding);
    return wire;
}

Wire solidRaw(int x, int y, int w, int h, std::uint8_t value) {
    auto wire = updateOf(x, y, w, h, 0);
    return wire.append(
        std::vector(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4, value));
}

Wire zrleUpdate(Deflater& deflater, int x, int y, int w, int h,
                std::span<const std::uint8_t> data) {
    const auto compressed = deflater.piece(data);
    auto wire = updateOf(x, y, w, h, 16);
    return wire.u32(static_cast<std::uint32_t>(compressed.size())).append(compressed);
}

Wire solidZRLE(Deflater& deflater, int x, int y, int w, int h, std::uint8_t value) {
    return zrleUpdate(deflater, x, y, w, h, std::vector<std::uint8_t>{1, value, value, value});
}

} // namespace test
