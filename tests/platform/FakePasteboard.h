#pragma once

#include "platform/Pasteboard.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Stands behind Pasteboard.h in the unit tests.
namespace test {

struct FakePasteboard {
    std::int64_t changeCount = 7;
    std::vector<std::string> types;
    std::optional<std::string> text;
    /// While it is true the owner of the contents does not answer, until `answer`.
    bool slow = false;
    std::vector<std::function<void()>> unanswered;

    /// Somebody copies something.
    void copy(std::vector<std::string> newTypes, std::optional<std::string> newText);
    /// Answers what was asked of a slow owner.
    void answer();
};

FakePasteboard& fakePasteboard();

} // namespace test
