// Numbers as requests carry them. What is out of their range becomes the nearest that is not.
#pragma once

#include <algorithm>
#include <cstdint>

namespace lentora::x11 {

/// A coordinate.
inline std::int16_t s16(int value) {
    return static_cast<std::int16_t>(std::clamp(value, -32768, 32767));
}

/// The width or height of an area, which may be empty.
inline std::uint16_t u16(int value) {
    return static_cast<std::uint16_t>(std::clamp(value, 0, 65535));
}

/// The width or height of a window or a pixmap, which may not.
inline std::uint16_t side(int value) {
    return static_cast<std::uint16_t>(std::clamp(value, 1, 32767));
}

} // namespace lentora::x11
