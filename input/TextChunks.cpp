#include "input/TextChunks.h"

#include "platform/Text.h"

#include <stdexcept>
#include <utility>

namespace orvel {
namespace {

class Chunks {
public:
    explicit Chunks(std::size_t maxUnits) : maxUnits(maxUnits) {}

    void append(std::u16string_view whole) {
        if (!current.empty() && current.size() + whole.size() > maxUnits)
            finished.push_back(std::exchange(current, {}));
        current += whole;
    }

    void appendByScalar(std::u16string_view character) {
        while (!character.empty()) {
            const std::size_t length = startsWithPair(character) ? 2 : 1;
            append(character.substr(0, length));
            character.remove_prefix(length);
        }
    }

    std::vector<std::u16string> take() {
        if (!current.empty())
            finished.push_back(std::move(current));
        return std::move(finished);
    }

private:
    static bool startsWithPair(std::u16string_view units) {
        return units.size() > 1 && units[0] >= 0xd800 && units[0] < 0xdc00;
    }

    std::size_t maxUnits;
    std::vector<std::u16string> finished;
    std::u16string current;
};

} // namespace

std::vector<std::u16string> TextChunks::split(std::string_view text, std::size_t maxUnits) {
    constexpr std::size_t maxScalarUnits = 2;
    if (maxUnits < maxScalarUnits)
        throw std::invalid_argument("a chunk must have room for a surrogate pair");
    Chunks chunks(maxUnits);
    platform::visitCharacters(text, [&](std::u16string_view character) {
        if (character.size() <= maxUnits)
            chunks.append(character);
        else
            chunks.appendByScalar(character);
    });
    return chunks.take();
}

} // namespace orvel
