// What the hint card of a lens says.
#pragma once

#include "support/StringTable.h"

#include <string>
#include <string_view>

namespace lentora::hint {

/// The title of a locked lens's card.
inline constexpr std::string_view productName = "Lentora";

// The commands of a locked lens, a line each.

/// Of one that a pinch opened, with the gate as the user knows it.
std::string pinchCommands(const StringTable& strings, std::string_view gateName);

/// Of one that the keyboard shortcut opened.
std::string keyboardCommands(const StringTable& strings);

} // namespace lentora::hint
