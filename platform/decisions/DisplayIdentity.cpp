#include "platform/decisions/DisplayIdentity.h"

#include <algorithm>
#include <array>
#include <set>

namespace platform {
namespace {

/// FNV-1a.
DisplayID hash(const std::string& name) {
    DisplayID value = 2166136261;
    for (const char each : name)
        value = (value ^ static_cast<std::uint8_t>(each)) * 16777619;
    return value;
}

/// The characters of a descriptor's text, which a line feed ends and spaces fill up.
std::string textOf(std::span<const std::uint8_t> characters) {
    std::string text(characters.begin(), std::ranges::find(characters, '\n'));
    if (!std::ranges::all_of(text, [](char each) { return each >= ' ' && each <= '~'; }))
        return {};
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace

std::map<std::string, DisplayID> displayIDs(const std::vector<std::string>& names) {
    std::map<std::string, DisplayID> ids;
    for (const auto& name : names)
        ids.emplace(name, hash(name));
    // Where two names have the same hash, the alphabet decides: the order in which a server lists
    // its displays changes with the main one.
    std::set<DisplayID> taken{0};
    for (auto& [name, id] : ids)
        while (!taken.insert(id).second)
            ++id;
    return ids;
}

std::string productName(std::span<const std::uint8_t> edid) {
    constexpr std::array<std::uint8_t, 8> header{0, 255, 255, 255, 255, 255, 255, 0};
    constexpr std::size_t blockSize = 128;
    constexpr std::size_t firstDescriptor = 54;
    constexpr std::size_t descriptorSize = 18;
    constexpr std::array<std::uint8_t, 5> nameDescriptor{0, 0, 0, 0xFC, 0};
    if (edid.size() < blockSize || !std::ranges::equal(edid.first<header.size()>(), header))
        return {};
    for (auto at = firstDescriptor; at + descriptorSize < blockSize; at += descriptorSize) {
        const auto descriptor = edid.subspan(at, descriptorSize);
        if (std::ranges::equal(descriptor.first<nameDescriptor.size()>(), nameDescriptor))
            return textOf(descriptor.subspan<nameDescriptor.size()>());
    }
    return {};
}

} // namespace platform
