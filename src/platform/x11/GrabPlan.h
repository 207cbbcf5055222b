// Which passive grabs on the root window make the server withhold exactly what the client of the
// tap would swallow.
#pragma once

#include "platform/EventTap.h"
#include "platform/x11/KeyboardMap.h"

#include <compare>
#include <cstdint>
#include <set>

namespace lentora::x11 {

/// One passive grab: what is grabbed, and the exact modifiers it takes.
struct Grab {
    enum class Kind : std::uint8_t { button, key, pinch };

    Kind kind = Kind::key;
    /// The button or the key code; 0 for a pinch.
    std::uint32_t detail = 0;
    /// A ModifierMask, or anyModifier.
    std::uint32_t modifiers = 0;
    /// Whose grab it is. Only one kind belongs to the user's own shortcut.
    bool isShortcut = false;

    static constexpr std::uint32_t anyModifier = 1U << 31;

    auto operator<=>(const Grab&) const = default;
};

inline constexpr std::uint32_t leftButton = 1;
inline constexpr std::uint32_t rightButton = 3;
inline constexpr std::uint32_t wheelUp = 4;
inline constexpr std::uint32_t wheelDown = 5;

/// `wheelZooms`: a notch of the wheel with the gate held is a pinch.
std::set<Grab> planGrabs(const SwallowInterest& interest, const KeyboardMap& map, bool wheelZooms);

} // namespace lentora::x11
