#include "platform/Text.h"

#include <unicode/brkiter.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <memory>

namespace platform {
namespace {

icu::UnicodeString decoded(std::string_view bytes) {
    return icu::UnicodeString::fromUTF8({bytes.data(), static_cast<int32_t>(bytes.size())});
}

std::string encoded(const icu::UnicodeString& text) {
    std::string bytes;
    text.toUTF8String(bytes);
    return bytes;
}

/// The units of a text, which has to outlive them.
std::u16string_view units(const icu::UnicodeString& text) {
    return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

} // namespace

bool isUTF8(std::string_view bytes) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t units = 0;
    u_strFromUTF8(nullptr, 0, &units, bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    return status != U_INVALID_CHAR_FOUND;
}

std::string repairedUTF8(std::string_view bytes) {
    return encoded(decoded(bytes));
}

std::u16string utf16Units(std::string_view text) {
    return std::u16string(units(decoded(text)));
}

std::u32string unicodeScalars(std::string_view text) {
    const auto string = decoded(text);
    std::u32string scalars;
    for (int32_t at = 0; at < string.length(); at = string.moveIndex32(at, 1))
        scalars.push_back(static_cast<char32_t>(string.char32At(at)));
    return scalars;
}

void visitCharacters(std::string_view text,
                     const std::function<void(std::u16string_view character)>& visit) {
    const auto string = decoded(text);
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> characters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    // ICU without its data: a scalar is the best guess at a character that is left.
    const bool known = U_SUCCESS(status);
    if (known)
        characters->setText(string);
    for (int32_t start = 0, end = 0; start < string.length(); start = end) {
        end = known ? characters->next() : string.moveIndex32(start, 1);
        visit(units(string).substr(static_cast<std::size_t>(start),
                                   static_cast<std::size_t>(end - start)));
    }
}

std::string_view cutAtCharacter(std::string_view text, std::size_t limit) {
    if (text.size() <= limit)
        return text;
    while (limit > 0 && continuesCharacter(text[limit]))
        --limit;
    return text.substr(0, limit);
}

std::string utf8FromLatin1(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const char character : bytes) {
        const auto number = static_cast<unsigned char>(character);
        if (number >= 0x80)
            text += static_cast<char>(0xc0 | number >> 6);
        text += number < 0x80 ? character : static_cast<char>(0x80 | (number & 0x3f));
    }
    return text;
}

std::string latin1FromUTF8(std::string_view text) {
    std::string bytes;
    for (const auto scalar : unicodeScalars(text))
        bytes += scalar < 0x100 ? static_cast<char>(scalar) : '?';
    return bytes;
}

std::string lowercased(std::string_view text) {
    return encoded(decoded(text).toLower(icu::Locale::getRoot()));
}

} // namespace platform
