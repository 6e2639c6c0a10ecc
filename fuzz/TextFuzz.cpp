#include "fuzz/Fuzz.h"
#include "input/TextChunks.h"
#include "platform/Text.h"

#include <set>

namespace {

/// The scalars of UTF-16, which TextChunks must not tear.
std::u32string scalarsOf(std::u16string_view units) {
    std::u32string scalars;
    for (std::size_t at = 0; at < units.size(); ++at) {
        const char16_t unit = units[at];
        const bool high = unit >= 0xD800 && unit < 0xDC00;
        fuzz::require(unit < 0xDC00 || unit > 0xDFFF, "no low surrogate stands alone");
        fuzz::require(!high || at + 1 < units.size(), "no high surrogate stands alone");
        scalars.push_back(high ? 0x10000 + (char32_t{unit & 0x3FFu} << 10) + (units[++at] & 0x3FFu)
                               : char32_t{unit});
    }
    return scalars;
}

void requireSameText(const std::string& text) {
    const auto repaired = platform::repairedUTF8(text);
    fuzz::require(platform::isUTF8(repaired), "repaired text is text");
    fuzz::require(platform::isUTF8(text) == (repaired == text), "only damage is repaired");
    const auto units = platform::utf16Units(text);
    fuzz::require(platform::utf16Units(repaired) == units, "repaired or not, it reads the same");
    fuzz::require(platform::unicodeScalars(text) == scalarsOf(units),
                  "scalars are those of UTF-16");
}

void requireGoodChunks(const std::string& text, std::size_t maxUnits) {
    const auto chunks = orvel::TextChunks::split(text, maxUnits);
    std::set<std::size_t> characterEnds{0};
    std::size_t end = 0;
    platform::visitCharacters(text, [&](std::u16string_view character) {
        characterEnds.insert(end += character.size());
    });
    std::u16string all;
    for (std::size_t at = 0; at < chunks.size(); ++at) {
        const auto& chunk = chunks[at];
        fuzz::require(!chunk.empty() && chunk.size() <= maxUnits, "a chunk has its size");
        scalarsOf(chunk);
        all += chunk;
        const auto next = characterEnds.upper_bound(all.size());
        const bool between = characterEnds.contains(all.size());
        if (next == characterEnds.end())
            continue;
        const auto character = *next - (between ? all.size() : *std::prev(next));
        fuzz::require(between || character > maxUnits, "only what is too long is cut");
        fuzz::require(!between || character > maxUnits || chunk.size() + character > maxUnits,
                      "no chunk ends early");
    }
    fuzz::require(all == platform::utf16Units(text), "the chunks are the text");
}

} // namespace

/// Any bytes are a text, and a text is cut only where it may be.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto maxUnits = input.ConsumeIntegralInRange<std::size_t>(2, 40);
    const auto text = input.ConsumeRemainingBytesAsString();
    requireSameText(text);
    requireGoodChunks(text, maxUnits);
    return 0;
}
