#pragma once

#include "support/Deflater.h"
#include "support/Wire.h"

#include <cstdint>
#include <span>

/// What a VNC server sends, put together by hand (RFC 6143).
namespace test {

/// Everything up to the end of the handshake of a server that asks for nothing.
Wire greeting(int w, int h);

Wire& rectangle(Wire& wire, int x, int y, int w, int h, std::int32_t encoding);

Wire update(int count);

/// An update with one rectangle, without what follows its head.
Wire updateOf(int x, int y, int w, int h, std::int32_t encoding);

/// Raw pixels that are all of one gray.
Wire solidRaw(int x, int y, int w, int h, std::uint8_t value);

/// One ZRLE rectangle with this data.
Wire zrleUpdate(Deflater& deflater, int x, int y, int w, int h, std::span<const std::uint8_t> data);

/// One solid ZRLE tile.
Wire solidZRLE(Deflater& deflater, int x, int y, int w, int h, std::uint8_t value);

} // namespace test
