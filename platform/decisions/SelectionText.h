#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Texts and type names as X selections carry them (ICCCM, chapter 2). Pure.
namespace platform {

enum class TextForm { utf8, latin1 };

/// A target under which an owner may offer plain text.
struct TextTarget {
    std::string_view name;
    TextForm form;
};

/// The targets that mean plain text, the best first.
std::span<const TextTarget> textTargets();

/// The targets to ask for, in this order, of an owner that offers these: the best one, none if it
/// has no text, or those that every owner used to have if it does not say.
std::vector<TextTarget> targetsToAsk(const std::vector<std::string>& offered);

/// Adds the common names for marks that have a name of their own on this desktop.
std::vector<std::string> withCommonNames(std::vector<std::string> targets);

/// Valid UTF-8 from the bytes of a selection.
std::string textFrom(std::span<const std::uint8_t> bytes, TextForm form);

} // namespace platform
