// Rectangles and areas in X pixels.
#pragma once

#include "support/Rect.h"

#include <cstdint>
#include <vector>

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
PixelRect intersection(const PixelRect& a, const PixelRect& b);
/// The smallest rectangle around both.
PixelRect bounding(const PixelRect& a, const PixelRect& b);

/// `points` in the pixels of a desktop that has `scale` pixels per point. Position and size are
/// rounded to the nearest pixel; a size is at least 1. What is no number becomes 0, and what lies
/// beyond X's coordinates is brought back to their end.
PixelRect toPixels(const Rect& points, double scale);

/// An area that has to be drawn again. Covers at least what was added; beyond a few rectangles
/// those are joined whose union wastes least. The rectangles may overlap, and none is empty.
class PixelRegion {
public:
    static constexpr std::size_t maxRects = 16;

    PixelRegion() = default;
    explicit PixelRegion(const PixelRect& rect) { add(rect); }

    void add(const PixelRect& rect);
    void add(const PixelRegion& other);
    void clear() { rects_.clear(); }

    bool isEmpty() const { return rects_.empty(); }
    const std::vector<PixelRect>& rects() const { return rects_; }
    PixelRect bounds() const;
    /// Of the rectangles together; what two of them cover counts twice.
    std::int64_t area() const;

    bool operator==(const PixelRegion&) const = default;

private:
    void joinClosest();

    std::vector<PixelRect> rects_;
};

} // namespace lentora::x11
