#include "platform/decisions/InputQueue.h"

#include "platform/decisions/KeyTable.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace platform {

void InputQueue::push(const Event& event) {
    const auto* const key = std::get_if<KeyboardEvent>(&event);
    if (!key) {
        if (const auto* const mouse = std::get_if<MouseEvent>(&event))
            entries.emplace_back(*mouse);
        else
            entries.emplace_back(std::get<ScrollWheelEvent>(event));
        return;
    }
    if (!key->keyDown)
        return;
    if (key->unicodeString.empty()) {
        entries.emplace_back(Tap{key->virtualKey, key->flags});
        return;
    }
    auto symbols = symbolsOf(key->unicodeString);
    auto* const text = entries.empty() ? nullptr : std::get_if<Text>(&entries.back());
    if (text && text->flags == key->flags)
        std::ranges::copy(symbols, std::back_inserter(text->symbols));
    else if (!symbols.empty())
        entries.emplace_back(Text{std::move(symbols), key->flags});
}

const InputQueue::Entry* InputQueue::due(Time now) const {
    return entries.empty() || now < notBefore ? nullptr : &entries.front();
}

std::span<const Keysym> InputQueue::portion() const {
    const auto& text = std::get<Text>(entries.front());
    const auto rest = std::span(text.symbols).subspan(text.typed);
    return rest.first(std::min(rest.size(), maxAtOnce));
}

void InputQueue::done(Time now, std::size_t symbols) {
    auto& entry = entries.front();
    auto* const text = std::get_if<Text>(&entry);
    if (paced && (text || std::holds_alternative<Tap>(entry)))
        notBefore = now + paceOfInputMethods * symbols;
    if (text && (text->typed += symbols) < text->symbols.size())
        return;
    entries.pop_front();
}

} // namespace platform
