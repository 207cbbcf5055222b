// Pixels of the X screen, and points of the desktop.
//
// An X screen is one plane of pixels, on which the monitors lie. The desktop's one scale says how
// many of them make a point; X has no scale of a single monitor. CG space begins at the top-left
// corner of the primary monitor. So the way from one to the other is the same everywhere: less the
// primary monitor's corner, divided by the scale. Whole pixels survive the way there and back.
#pragma once

#include "platform/x11/PixelRect.h"
#include "support/Rect.h"

#include <algorithm>
#include <cmath>

namespace lentora::x11 {

struct ScreenSpace {
    /// The primary monitor's top-left corner, in pixels.
    int originX = 0;
    int originY = 0;
    /// Pixels per point; above 0.
    double scale = 1;

    /// CG space.
    Point toPoints(int x, int y) const { return {(x - originX) / scale, (y - originY) / scale}; }
    Rect toPoints(const PixelRect& rect) const {
        const Point corner = toPoints(rect.x, rect.y);
        return {corner.x, corner.y, rect.width / scale, rect.height / scale};
    }

    /// The whole pixels that are nearest to the rectangle's edges; at least one each way. What is
    /// no number becomes 0, and what lies beyond X's coordinates is brought back to their end.
    PixelRect toPixels(const Rect& rect) const {
        const int left = toPixel(rect.x, originX);
        const int top = toPixel(rect.y, originY);
        return {left, top, std::max(toPixel(rect.maxX(), originX) - left, 1),
                std::max(toPixel(rect.maxY(), originY) - top, 1)};
    }

    bool operator==(const ScreenSpace&) const = default;

private:
    int toPixel(double point, int origin) const {
        // Positions and sizes travel as 16-bit numbers.
        constexpr double limit = 32767;
        const double pixel = std::round(point * scale) + origin;
        return std::isnan(pixel) ? 0 : static_cast<int>(std::clamp(pixel, -limit, limit));
    }
};

} // namespace lentora::x11
