// The numbers of the zoom: how a pinch becomes a zoom factor, how the shown one follows it, and
// how the focus follows the pointer. Nothing here knows of a session, a clock or a screen.
//
// A zoom factor is a plain ratio: 1 is 100 %. Distances are points, times are seconds.
#pragma once

#include "support/Rect.h"

#include <optional>

namespace lentora::zoom {

/// The lower bound of every zoom factor.
inline constexpr double minZoom = 1;

/// Equal distances of a pinch multiply the zoom by equal factors; a distance of 1 by e to this.
inline constexpr double pinchGeoGain = 1.2;

/// How far below 100 %, in sum, a locked lens is pinched until it closes.
inline constexpr double closeOvershoot = 0.1;

/// How far around its window a lens follows the pointer.
inline constexpr double edgeComfortBand = 100;

/// Held to `minZoom`...`maxZoom`; of two bounds that cross, `maxZoom` holds. What is not a number
/// counts as `minZoom`.
double bounded(double zoom, double maxZoom);

/// What a pinch opens a lens at when the zoom follows it.
double engaged(double magnitude, double maxZoom);

/// What a pinch by `change` makes of `zoom`, before any bound.
double pinched(double zoom, double change);

/// Seconds that a refresh at `timestamp` moves the picture on: held to what looks like a movement
/// after a stall, and nothing when the clock went back. `previous` is 0 at the first one.
double timeStep(double previous, double timestamp);

/// Where `displayed` is `seconds` later on its way to `target`: it approaches exponentially, at a
/// limited speed, and arrives when it is close enough.
double smoothed(double displayed, double target, double seconds);

/// `zoom` in whole percent; halves are rounded away from zero.
int percent(double zoom);

/// The point of `window` that a lens shows at its place while the pointer is at `pointer`, as
/// points from the window's bottom-left corner; nothing when the pointer is too far off. Both are
/// in the same coordinates, y up.
std::optional<Point> followedFocus(const Rect& window, Point pointer);

/// Makes changes of the cumulative magnification that a backend reports.
class PinchChange {
public:
    /// The next value is where the pinch begins, and no change.
    void reseed() { isSeeded_ = false; }

    /// The change since the last value; nothing for the first one and for a tremor, which is not
    /// saved up.
    std::optional<double> take(double cumulative);

private:
    double last_ = 0;
    bool isSeeded_ = false;
};

/// Sums up how far a locked lens is pinched below 100 %.
class FloorOvershoot {
public:
    void reset() { sum_ = 0; }

    /// After a pinch to `raw`, which became `zoom`. Whether it is enough to close the lens.
    bool add(double raw, double zoom);

    double sum() const { return sum_; }

private:
    double sum_ = 0;
};

} // namespace lentora::zoom
