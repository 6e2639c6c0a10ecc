#include "fuzz/Fuzz.h"
#include "platform/decisions/DisplayIdentity.h"

/// Whatever a monitor says, its name is a short line of text, and what it said.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> edid(data, size);
    const auto name = platform::productName(edid);
    fuzz::require(name.size() <= 13, "a name has room in its descriptor");
    fuzz::require(std::ranges::all_of(name, [](char each) { return each >= ' ' && each <= '~'; }),
                  "a name is text");
    fuzz::require(!name.ends_with(' '), "what fills a descriptor up is no part of the name");
    fuzz::require(name.empty() ||
                      std::search(edid.begin(), edid.end(), name.begin(), name.end()) != edid.end(),
                  "a name is not made up");
    return 0;
}
