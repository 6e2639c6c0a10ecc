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

std::string textFrom(std::span<const std::uint8_t> bytes, TextForm form) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return form == TextForm::latin1 ? utf8FromLatin1(text) : repairedUTF8(text);
}

} // namespace platform
