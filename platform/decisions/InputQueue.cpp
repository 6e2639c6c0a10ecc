#include "platform/decisions/InputQueue.h"

#include "platform/decisions/KeyTable.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace platform {

void InputQueue::push(const Event& event) {
    std::visit([this](const auto& each) { append(each); }, event);
}

void InputQueue::append(const KeyboardEvent& key) {
    if (!key.keyDown)
        return;
    if (key.unicodeString.empty())
        return append(Tap{key.virtualKey, key.flags});
    auto symbols = symbolsOf(key.unicodeString);
    untyped += symbols.size();
    auto* const text = entries.empty() ? nullptr : std::get_if<Text>(&entries.back());
    if (text && text->flags == key.flags)
        std::ranges::copy(symbols, std::back_inserter(text->symbols));
    else if (!symbols.empty())
        append(Text{std::move(symbols), key.flags});
}

const InputQueue::Entry* InputQueue::due(MediaTime now) const {
    return entries.empty() || now < notBefore ? nullptr : &entries.front();
}

std::span<const Keysym> InputQueue::portion() const {
    const auto& text = std::get<Text>(entries.front());
    const auto rest = std::span(text.symbols).subspan(text.typed);
    return rest.first(std::min(rest.size(), maxAtOnce));
}

void InputQueue::done(MediaTime now, std::size_t symbols) {
    auto& entry = entries.front();
    auto* const text = std::get_if<Text>(&entry);
    if (pace.timeForKey.count() > 0 && (text || std::holds_alternative<Tap>(entry)))
        notBefore = now + pace.timeForKey * symbols;
    if (text) {
        untyped -= symbols;
        text->typed += symbols;
        if (text->typed < text->symbols.size())
            return;
    }
    entries.pop_front();
}

} // namespace platform
