#include "input/Keys.h"

#include "input/TextChunks.h"
#include "platform/Text.h"

#include <optional>
#include <unordered_map>
#include <utility>

namespace orvel {
namespace {

using platform::EventFlags;
using platform::KeyboardEvent;
using platform::VirtualKey;
using Events = std::vector<KeyboardEvent>;
using VirtualKeys = std::unordered_map<std::string_view, VirtualKey>;

/// Keys by their names; all of them are pressed by position.
const VirtualKeys& named() {
    static const VirtualKeys table{
        {"return", 36}, {"enter", 76}, {"tab", 48},     {"escape", 53},
        {"delete", 51}, {"space", 49}, {"home", 115},   {"forwarddelete", 117},
        {"end", 119},   {"left", 123}, {"pageup", 116}, {"right", 124},
        {"down", 125},  {"up", 126},   {"f1", 122},     {"pagedown", 121},
        {"f2", 120},    {"f3", 99},    {"f4", 118},     {"f5", 96},
        {"f6", 97},     {"f7", 98},    {"f8", 100},     {"f9", 101},
        {"f10", 109},   {"f11", 103},  {"f12", 111},
    };
    return table;
}

/// Keys by the character they give on an ANSI keyboard without Shift.
const VirtualKeys& chars() {
    static const VirtualKeys table{
        {"a", 0},   {"s", 1},  {"d", 2},  {"f", 3},  {"h", 4},  {"g", 5},  {"z", 6},  {"x", 7},
        {"c", 8},   {"v", 9},  {"b", 11}, {"q", 12}, {"w", 13}, {"e", 14}, {"r", 15}, {"y", 16},
        {"t", 17},  {"1", 18}, {"2", 19}, {"3", 20}, {"4", 21}, {"6", 22}, {"5", 23}, {"=", 24},
        {"9", 25},  {"7", 26}, {"-", 27}, {"8", 28}, {"0", 29}, {"]", 30}, {"o", 31}, {"u", 32},
        {"[", 33},  {"i", 34}, {"p", 35}, {"l", 37}, {"j", 38}, {"'", 39}, {"k", 40}, {";", 41},
        {"\\", 42}, {",", 43}, {"/", 44}, {"n", 45}, {"m", 46}, {".", 47}, {"`", 50},
    };
    return table;
}

std::optional<VirtualKey> find(const VirtualKeys& table, std::string_view name) {
    const auto found = table.find(name);
    return found == table.end() ? std::nullopt : std::optional(found->second);
}

EventFlags flagsOf(const std::vector<std::string>& mods) {
    static const std::unordered_map<std::string_view, EventFlags> table{
        {"cmd", platform::flag::command},  {"option", platform::flag::option},
        {"ctrl", platform::flag::control}, {"shift", platform::flag::shift},
        {"fn", platform::flag::function},
    };
    EventFlags flags = 0;
    for (const auto& mod : mods)
        if (const auto found = table.find(mod); found != table.end())
            flags |= found->second;
    return flags;
}

void appendStroke(Events& events, VirtualKey key, EventFlags flags,
                  std::u16string unicodeString = {}) {
    events.push_back({key, true, flags, unicodeString});
    events.push_back({key, false, flags, std::move(unicodeString)});
}

Events stroke(VirtualKey key, EventFlags flags) {
    Events events;
    appendStroke(events, key, flags);
    return events;
}

bool isOneCharacter(std::string_view text) {
    std::size_t count = 0;
    platform::visitCharacters(text, [&](std::u16string_view) { ++count; });
    return count == 1;
}

} // namespace

Events Keys::key(std::string_view key, const std::vector<std::string>& mods) {
    auto flags = flagsOf(mods);
    if (const auto code = find(named(), key))
        return stroke(*code, flags);
    if (isOneCharacter(key)) {
        const auto lower = platform::lowercased(key);
        if (const auto code = find(chars(), lower)) {
            if (lower != key)
                flags |= platform::flag::shift;
            return stroke(*code, flags);
        }
    }
    return type(key, flags);
}

Events Keys::type(std::string_view text, EventFlags flags) {
    Events events;
    for (auto& chunk : TextChunks::split(text))
        appendStroke(events, 0, flags, std::move(chunk));
    return events;
}

} // namespace orvel
