// Pixels of the X screen, and points of the desktop.
//
// An X screen is one plane of pixels, on which the monitors lie. The desktop's one scale says how
// many of them make a point; X has no scale of a single monitor. CG space begins at the top-left
// corner of the primary monitor. So the way from one to the other is the same everywhere: less the
// primary monitor's corner, divided by the scale. Whole pixels survive the way there and back.
#pragma once

#include "support/Rect.h"

#include <algorithm>
#include <cmath>

namespace lentora::x11 {

/// Root coordinates.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int maxX() const { return x + width; }
    int maxY() const { return y + height; }
    bool isEmpty() const { return width <= 0 || height <= 0; }

    bool contains(const PixelRect& other) const {
        return x <= other.x && y <= other.y && maxX() >= other.maxX() && maxY() >= other.maxY();
    }

    bool operator==(const PixelRect&) const = default;
};

/// What both cover; empty when that is nothing.
inline PixelRect intersection(const PixelRect& a, const PixelRect& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    const int width = std::min(a.maxX(), b.maxX()) - left;
    const int height = std::min(a.maxY(), b.maxY()) - top;
    if (width <= 0 || height <= 0)
        return {};
    return {left, top, width, height};
}

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

    /// The whole pixels that are nearest to the rectangle's edges. `rect` lies within X's numbers.
    PixelRect toPixels(const Rect& rect) const {
        const auto pixel = [&](double point, int origin) {
            return static_cast<int>(std::lround(point * scale)) + origin;
        };
        const int left = pixel(rect.x, originX);
        const int top = pixel(rect.y, originY);
        return {left, top, pixel(rect.maxX(), originX) - left, pixel(rect.maxY(), originY) - top};
    }

    bool operator==(const ScreenSpace&) const = default;
};

} // namespace lentora::x11
