#include "platform/decisions/SelectionText.h"

#include "platform/Text.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

constexpr std::array<TextTarget, 3> targets{{
    {"UTF8_STRING", TextForm::utf8},
    {"text/plain;charset=utf-8", TextForm::utf8},
    {"STRING", TextForm::latin1},
}};

std::string_view withoutBrokenEnd(std::string_view bytes) {
    constexpr std::size_t longestCharacter = 4;
    for (std::size_t back = 1; back <= std::min(longestCharacter, bytes.size()); ++back) {
        const auto byte = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if (continuesCharacter(static_cast<char>(byte)))
            continue;
        const std::size_t length = byte < 0xc0 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
        return length > back ? bytes.substr(0, bytes.size() - back) : bytes;
    }
    return bytes;
}

} // namespace

std::span<const TextTarget> textTargets() {
    return targets;
}

std::vector<TextTarget> targetsToAsk(const std::vector<std::string>& offered) {
    if (offered.empty())
        return {targets.front(), targets.back()};
    for (const auto& target : targets)
        if (std::ranges::find(offered, target.name) != offered.end())
            return {target};
    return {};
}

std::vector<std::string> withCommonNames(std::vector<std::string> names) {
    // Password managers on this desktop agree on this target; its presence is the mark.
    if (std::ranges::find(names, "x-kde-passwordManagerHint") != names.end())
        names.emplace_back("org.nspasteboard.ConcealedType");
    return names;
}

std::string textFrom(std::span<const std::uint8_t> bytes, TextForm form, bool cut) {
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (form == TextForm::latin1)
        return utf8FromLatin1(text);
    return repairedUTF8(cut ? withoutBrokenEnd(text) : text);
}

} // namespace platform
