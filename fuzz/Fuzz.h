#pragma once

#include "support/ScriptedServer.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

/// What the fuzz targets share. A target takes its few parameters off the end of the input, so that
/// the beginning stays what a peer sends.
namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

/// Ends the run, which keeps the input, if something that always holds does not.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

/// Sends the bytes in at most `count` packets of one size, and listens until the client hangs up.
/// Their number is what a connection has room for, so nobody ever waits for the other.
inline test::Script inPackets(Bytes bytes, std::uint8_t count) {
    return [bytes = std::move(bytes), count](test::ServerSide& side) {
        const std::size_t packets = std::max<std::size_t>(count, 1);
        const auto size = bytes.size() / packets + 1;
        for (std::span<const std::uint8_t> rest(bytes); !rest.empty();
             rest = rest.subspan(std::min(size, rest.size())))
            side.send(rest.first(std::min(size, rest.size())));
    };
}

} // namespace fuzz
