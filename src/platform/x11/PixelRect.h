// Rectangles in X pixels: of the root, of a window or of a pixmap, as their owner says.
#pragma once

#include <algorithm>
#include <cstdint>

namespace lentora::x11 {

/// Maximum edges are outside. Empty where width or height is not positive.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int maxX() const { return x + width; }
    int maxY() const { return y + height; }
    bool isEmpty() const { return width <= 0 || height <= 0; }
    std::int64_t area() const { return isEmpty() ? 0 : std::int64_t{width} * height; }
    PixelRect translated(int dx, int dy) const { return {x + dx, y + dy, width, height}; }
    bool contains(const PixelRect& inner) const {
        return inner.x >= x && inner.y >= y && inner.maxX() <= maxX() && inner.maxY() <= maxY();
    }

    bool operator==(const PixelRect&) const = default;
};

/// What both cover, or an empty rectangle.
inline PixelRect intersection(const PixelRect& a, const PixelRect& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    const int width = std::min(a.maxX(), b.maxX()) - left;
    const int height = std::min(a.maxY(), b.maxY()) - top;
    if (width <= 0 || height <= 0)
        return {};
    return {left, top, width, height};
}

/// The smallest rectangle around both.
inline PixelRect bounding(const PixelRect& a, const PixelRect& b) {
    const int left = std::min(a.x, b.x);
    const int top = std::min(a.y, b.y);
    return {left, top, std::max(a.maxX(), b.maxX()) - left, std::max(a.maxY(), b.maxY()) - top};
}

} // namespace lentora::x11
