#pragma once

#include <functional>
#include <string>
#include <string_view>

/// Unicode text. Every function is pure and takes any bytes: what is not valid UTF-8 counts as
/// U+FFFD, one for each maximal part of a sequence (Unicode, "Substitution of Maximal Subparts").
namespace platform {

/// Whether the bytes are valid UTF-8 as they are.
bool isUTF8(std::string_view bytes);

/// The text with every invalid sequence replaced.
std::string repairedUTF8(std::string_view bytes);

std::u16string utf16Units(std::string_view text);
std::u32string unicodeScalars(std::string_view text);

/// Visits the text's user-perceived characters (extended grapheme clusters, UAX #29) in their
/// order, each as its UTF-16 units, which are gone after the call. Together they are
/// `utf16Units(text)`.
void visitCharacters(std::string_view text,
                     const std::function<void(std::u16string_view character)>& visit);

/// The beginning of `text` within `limit` bytes that does not end inside a character.
std::string_view cutAtCharacter(std::string_view text, std::size_t limit);

/// Whether a byte of UTF-8 belongs to the character that began before it.
constexpr bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

/// Text in ISO 8859-1, where a byte is the character of the same number, as UTF-8.
std::string utf8FromLatin1(std::string_view bytes);
/// Text in ISO 8859-1; each character that this lacks becomes a question mark.
std::string latin1FromUTF8(std::string_view text);

/// Full lower-case mapping without a locale.
std::string lowercased(std::string_view text);

} // namespace platform
