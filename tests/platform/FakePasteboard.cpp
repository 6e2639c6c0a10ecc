#include "platform/FakePasteboard.h"

#include <utility>

namespace test {

void FakePasteboard::copy(std::vector<std::string> newTypes, std::optional<std::string> newText) {
    ++changeCount;
    types = std::move(newTypes);
    text = std::move(newText);
}

void FakePasteboard::answer() {
    for (const auto& each : std::exchange(unanswered, {}))
        each();
}

FakePasteboard& fakePasteboard() {
    static FakePasteboard pasteboard;
    return pasteboard;
}

namespace {

void soonerOrLater(std::function<void()> answer) {
    auto& fake = fakePasteboard();
    if (fake.slow)
        fake.unanswered.push_back(std::move(answer));
    else
        answer();
}

} // namespace
} // namespace test

namespace platform {

struct Pasteboard::State {};

Pasteboard::Pasteboard() = default;
Pasteboard::~Pasteboard() = default;

std::int64_t Pasteboard::changeCount() const {
    return test::fakePasteboard().changeCount;
}

void Pasteboard::types(std::int64_t change, const TypesHandler& done) {
    test::soonerOrLater([change, done] {
        const auto& fake = test::fakePasteboard();
        done(change == fake.changeCount ? fake.types : std::vector<std::string>{});
    });
}

void Pasteboard::string(std::int64_t change, std::size_t limit, const TextHandler& done) {
    test::soonerOrLater([change, limit, done] {
        const auto& fake = test::fakePasteboard();
        const bool same = change == fake.changeCount && fake.text;
        done(same ? std::optional(fake.text->substr(0, limit + 3)) : std::nullopt);
    });
}

void Pasteboard::setString(const std::string& text) {
    test::fakePasteboard().copy({"UTF8_STRING"}, text);
}

} // namespace platform
