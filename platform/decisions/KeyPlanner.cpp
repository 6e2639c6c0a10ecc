#include "platform/decisions/KeyPlanner.h"

#include <algorithm>

namespace platform {

void KeyPlanner::setSpares(const std::vector<Spare>& spares) {
    std::vector<Key> wanted;
    for (const auto& spare : spares) {
        const auto* const known = find(spare.keycode);
        wanted.push_back({spare, known ? known->free : MediaTime{}});
    }
    keys = std::move(wanted);
}

KeyPlanner::Batch KeyPlanner::next(std::span<const Keysym> text, const Lookup& lookup,
                                   MediaTime now) const {
    Batch batch;
    batch.notBefore = now;
    auto trial = keys;
    for (const auto symbol : text) {
        auto stroke = lookup(symbol);
        if (!stroke && !trial.empty()) {
            auto* key = boundTo(trial, symbol);
            if (!key) {
                key = oldestUnpinned(trial);
                // What needs no waiting does not wait for what does.
                const bool mustWait = key && key->free > now;
                if (!key || (mustWait && batch.bindings.empty() && !batch.strokes.empty()))
                    return batch;
                key->symbol = symbol;
                batch.bindings.push_back({key->keycode, symbol});
                batch.notBefore = std::max(batch.notBefore, key->free);
            }
            key->pinned = true;
            stroke = Stroke{key->keycode, 0, {}};
        }
        batch.strokes.push_back(stroke);
    }
    return batch;
}

void KeyPlanner::pressed(const Batch& batch, MediaTime now, bool readersLag) {
    for (const auto& [keycode, symbol] : batch.bindings)
        if (auto* const bound = find(keycode))
            bound->symbol = symbol;
    if (!readersLag)
        return;
    handled = std::max(handled, now);
    for (const auto& stroke : batch.strokes) {
        if (!stroke)
            continue;
        handled = std::min(handled + timeForKey, now + maxWait);
        if (auto* const key = find(stroke->keycode))
            key->free = std::max(now + hold, handled);
    }
}

bool KeyPlanner::anyBound() const {
    return std::ranges::any_of(keys, [](const Key& key) { return key.symbol.has_value(); });
}

MediaTime KeyPlanner::releasable() const {
    MediaTime latest{};
    for (const auto& key : keys)
        if (key.symbol)
            latest = std::max(latest, key.free);
    return latest;
}

void KeyPlanner::released() {
    for (auto& key : keys)
        key.symbol.reset();
}

KeyPlanner::Key* KeyPlanner::boundTo(std::vector<Key>& keys, Keysym symbol) {
    const auto found = std::ranges::find(keys, symbol, &Key::symbol);
    return found == keys.end() ? nullptr : &*found;
}

KeyPlanner::Key* KeyPlanner::oldestUnpinned(std::vector<Key>& keys) {
    Key* oldest = nullptr;
    for (auto& key : keys)
        if (!key.pinned && (!oldest || key.free < oldest->free))
            oldest = &key;
    return oldest;
}

KeyPlanner::Key* KeyPlanner::find(Keycode keycode) {
    const auto found = std::ranges::find(keys, keycode, &Key::keycode);
    return found == keys.end() ? nullptr : &*found;
}

} // namespace platform
