// Points and rectangles on a screen. Lengths are points of the desktop, not pixels; which of the
// two screen spaces a value is in, its owner says.
#pragma once

namespace lentora {

struct Point {
    double x = 0;
    double y = 0;

    bool operator==(const Point&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool operator==(const Rect&) const = default;
};

} // namespace lentora
