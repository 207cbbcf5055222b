// Where everything is on the desktop that bench_lens measures on. Root window, pixels.
#pragma once

#include <cstdint>

namespace lentora::bench {

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

struct Spot {
    int x = 0;
    int y = 0;
};

inline constexpr int screenWidth = 3840;
inline constexpr int screenHeight = 1080;

/// The window that is magnified. A lens lies over it.
inline constexpr Area sourceArea{100, 90, 1600, 900};
/// Where the magnifiers show their picture that have a window of their own: as large as a lens.
inline constexpr Area besideArea{2080, 90, 1600, 900};

/// Where the pointer is, and what is magnified around it.
inline constexpr Spot pointer{900, 540};
inline constexpr int zoom = 2;

/// A small change: a text cursor beside the pointer.
inline constexpr Area smallArea{960, 531, 2, 18};

/// A box beside the pointer, a spot in the magnified box that is outside of the box itself.
inline constexpr Area boxArea{940, 520, 40, 40};
inline constexpr Spot magnifiedBoxSpot{1020, 540};

/// Colours without any noise, far from each other.
inline constexpr std::uint32_t blue = 0x336699;
inline constexpr std::uint32_t brown = 0x996633;
inline constexpr std::uint32_t bright = 0xF0F0C0;

} // namespace lentora::bench
