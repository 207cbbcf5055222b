// The 64-bit flags word that comes with every event: which modifier keys are down.
#pragma once

#include <cstdint>

namespace lentora {

using EventFlags = std::uint64_t;

/// Bits of the flags word. A modifier key sets the bit of its family and, beside it, the bit that
/// tells its side. Window systems without such a word translate into it.
namespace eventFlag {

inline constexpr EventFlags shift = 0x20000;
inline constexpr EventFlags control = 0x40000;
inline constexpr EventFlags option = 0x80000;
inline constexpr EventFlags command = 0x100000;
inline constexpr EventFlags fn = 0x800000;

inline constexpr EventFlags leftControl = 0x1;
inline constexpr EventFlags leftShift = 0x2;
inline constexpr EventFlags rightShift = 0x4;
inline constexpr EventFlags leftCommand = 0x8;
inline constexpr EventFlags rightCommand = 0x10;
inline constexpr EventFlags leftOption = 0x20;
inline constexpr EventFlags rightOption = 0x40;
inline constexpr EventFlags rightControl = 0x2000;

/// The modifiers that a keyboard shortcut can ask for.
inline constexpr EventFlags shortcutModifiers = shift | control | option | command;

} // namespace eventFlag

/// Codes of the keys that the program knows by name. A key code is a position on the keyboard,
/// numbered as on a Mac; each platform translates its own numbers.
namespace keyCode {

inline constexpr std::uint16_t tab = 48;
inline constexpr std::uint16_t space = 49;
inline constexpr std::uint16_t escape = 53;

} // namespace keyCode

} // namespace lentora
