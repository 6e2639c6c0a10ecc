#include "platform/decisions/KeyPlanner.h"

#include <algorithm>

namespace platform {

void KeyPlanner::setSpares(const std::vector<Keycode>& keycodes,
                           const std::function<bool(Keycode)>& stillBound) {
    std::vector<Spare> wanted;
    for (const auto keycode : keycodes) {
        const auto* known = spare(keycode);
        wanted.push_back(known ? *known : Spare{.keycode = keycode});
        if (!stillBound(keycode))
            wanted.back().symbol.reset();
    }
    spares = std::move(wanted);
}

bool KeyPlanner::isSpare(Keycode keycode) const {
    return std::ranges::find(spares, keycode, &Spare::keycode) != spares.end();
}

KeyPlanner::Batch KeyPlanner::next(std::span<const Keysym> text, const Lookup& lookup,
                                   Time now) const {
    Batch batch;
    batch.notBefore = now;
    auto trial = spares;
    for (const auto symbol : text) {
        auto stroke = lookup(symbol);
        if (!stroke && !trial.empty()) {
            auto* spare = boundTo(trial, symbol);
            if (!spare) {
                spare = oldestUnpinned(trial);
                // What needs no waiting does not wait for what does.
                const bool mustWait = spare && spare->free > now;
                if (!spare || (mustWait && batch.bindings.empty() && !batch.strokes.empty()))
                    return batch;
                spare->symbol = symbol;
                batch.bindings.push_back({spare->keycode, symbol});
                batch.notBefore = std::max(batch.notBefore, spare->free);
            }
            spare->pinned = true;
            stroke = Stroke{spare->keycode, 0, {}};
        }
        if (stroke)
            batch.strokes.push_back(*stroke);
        ++batch.symbols;
    }
    return batch;
}

void KeyPlanner::pressed(const Batch& batch, Time now, bool answering) {
    ++batches;
    for (const auto& [keycode, symbol] : batch.bindings)
        if (auto* bound = spare(keycode))
            bound->symbol = symbol;
    handled = std::max(handled, now);
    for (const auto& stroke : batch.strokes) {
        handled = std::min<Time>(handled + timeForKey, now + longestWait);
        if (auto* pressed = spare(stroke.keycode)) {
            pressed->pressed = now;
            pressed->batch = batches;
            pressed->free = answering ? now + longestWait : std::max(now + hold, handled);
        }
    }
}

void KeyPlanner::handledBatch(std::uint32_t number, Time now) {
    if (number > batches)
        return;
    for (auto& spare : spares)
        if (spare.batch <= number)
            spare.free = std::min(spare.free, spare.pressed + holdWhenHandled);
    if (number == batches)
        handled = now;
}

bool KeyPlanner::anyBound() const {
    return std::ranges::any_of(spares, [](const Spare& spare) { return spare.symbol.has_value(); });
}

KeyPlanner::Time KeyPlanner::releasable() const {
    Time latest{};
    for (const auto& spare : spares)
        if (spare.symbol)
            latest = std::max(latest, spare.free);
    return latest;
}

void KeyPlanner::released() {
    for (auto& spare : spares)
        spare.symbol.reset();
}

KeyPlanner::Spare* KeyPlanner::boundTo(std::vector<Spare>& spares, Keysym symbol) {
    const auto found = std::ranges::find(spares, symbol, &Spare::symbol);
    return found == spares.end() ? nullptr : &*found;
}

KeyPlanner::Spare* KeyPlanner::oldestUnpinned(std::vector<Spare>& spares) {
    Spare* oldest = nullptr;
    for (auto& spare : spares)
        if (!spare.pinned && (!oldest || spare.free < oldest->free))
            oldest = &spare;
    return oldest;
}

KeyPlanner::Spare* KeyPlanner::spare(Keycode keycode) {
    const auto found = std::ranges::find(spares, keycode, &Spare::keycode);
    return found == spares.end() ? nullptr : &*found;
}

} // namespace platform
