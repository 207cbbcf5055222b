// The monitors of an X screen, and how large a point is on them.
#pragma once

#include "platform/Displays.h"
#include "platform/ShareableContent.h"
#include "platform/x11/ScreenSpace.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lentora::x11 {

struct Monitor {
    /// The server's number for its name; it stays the same for as long as the server runs.
    std::uint32_t id = 0;
    PixelRect rect;
    bool primary = false;
    /// Refreshes in a second; 0 where that is not known.
    double refreshRate = 0;

    bool operator==(const Monitor&) const = default;
};

struct ScreenLayout {
    /// The primary one first, then in the server's order. None is empty.
    std::vector<Monitor> monitors;
    ScreenSpace space;

    bool operator==(const ScreenLayout&) const = default;
};

/// Pixels per point of a desktop with that many dots per inch: against 96, in quarters, 1 … 8.
double scaleOf(std::optional<double> dotsPerInch);

/// Where the server names no primary monitor, the first one is it.
ScreenLayout screenLayout(std::vector<Monitor> monitors, double scale);

/// Cocoa space.
std::vector<Screen> screensOf(const ScreenLayout& layout);

/// A rectangle in Cocoa space on the root window; at least one pixel each way.
PixelRect onRoot(const ScreenLayout& layout, const Rect& cocoa);

/// Seconds between two refreshes of the monitor that holds the middle of `display` (root window); a
/// usual time where that is not known.
double refreshInterval(const ScreenLayout& layout, const PixelRect& display);

/// CG space.
std::vector<ShareableDisplay> shareableDisplaysOf(const ScreenLayout& layout);

} // namespace lentora::x11
