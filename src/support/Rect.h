// Points and rectangles on a screen. Lengths are points of the desktop, not pixels, unless said
// otherwise; which of the two screen spaces a value is in, its owner says.
#pragma once

#include <algorithm>

namespace lentora {

struct Point {
    double x = 0;
    double y = 0;

    bool operator==(const Point&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;

    bool operator==(const Size&) const = default;
};

/// Widths and heights are not negative.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    double area() const { return width * height; }
    Point center() const { return {x + width / 2, y + height / 2}; }

    /// The minimum edges are inside, the maximum edges outside: a point on the common edge of two
    /// neighbours is in one of them.
    bool contains(Point p) const { return p.x >= x && p.x < maxX() && p.y >= y && p.y < maxY(); }

    bool operator==(const Rect&) const = default;
};

/// What both cover; a width and height of 0 when that is nothing.
inline Rect intersection(const Rect& a, const Rect& b) {
    const double left = std::max(a.x, b.x);
    const double top = std::max(a.y, b.y);
    const double width = std::min(a.maxX(), b.maxX()) - left;
    const double height = std::min(a.maxY(), b.maxY()) - top;
    // Written so that a width that is not a number ends up here as well.
    if (!(width > 0 && height > 0))
        return {};
    return {left, top, width, height};
}

/// Both cover some area together; touching edges are not enough.
inline bool intersects(const Rect& a, const Rect& b) {
    return intersection(a, b).width > 0;
}

} // namespace lentora
