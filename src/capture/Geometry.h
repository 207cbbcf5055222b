// The two screen spaces, and how rectangles and points are written into the log.
//
// Cocoa space has its origin at the bottom-left corner of the primary display with y up; CG space
// has its origin at the top-left corner of the primary display with y down. Both are in points
// and share x, so only y is mirrored about the primary display's height.
#pragma once

#include "platform/Displays.h"
#include "support/Rect.h"

#include <string>

namespace lentora {

/// Asks the displays anew on each call, so a display that comes, goes or moves is seen by the
/// next one. Any thread.
class Geometry {
public:
    explicit Geometry(const Displays& displays) : displays_(displays) {}

    /// The height of the primary display, else of the main one; 0 without any.
    double primaryHeight() const;

    /// The first display that contains `point` (Cocoa space); where none does (the gap of an
    /// irregular arrangement), the main display, else the first. A screen of no size without any.
    Screen screenForCocoaPoint(Point point) const;

    /// The pixels per point of the display that shows most of `rect` (Cocoa space); the first of
    /// them on a tie. 2.0 without any display.
    double scaleForCocoaRect(const Rect& rect) const;

    /// From one space into the other; the same either way.
    Point flipped(Point point) const;
    Rect flipped(const Rect& rect) const;

private:
    const Displays& displays_;
};

// For the log. Parts of a point are cut off; what is not finite or too large for a number of 64
// bits is written as "?". Any thread.

/// "-3"
std::string truncated(double coordinate);

/// "(12,-3 800x600)"
std::string rs(const Rect& rect);

/// "(100,20)"
std::string ps(Point point);

} // namespace lentora
