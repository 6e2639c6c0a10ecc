#pragma once

#include "platform/Events.h"
#include "platform/decisions/KeyMap.h"

#include <optional>
#include <string_view>
#include <vector>

namespace platform {

/// What the key at this place of an ANSI keyboard means: the keysym it gives without Shift.
std::optional<Keysym> symbolOf(VirtualKey key);

/// The keysyms that type a text. A carriage return and a line feed are one line end; what no key
/// can give, such as an unpaired surrogate, is left out.
std::vector<Keysym> symbolsOf(std::u16string_view text);

} // namespace platform
