#include "zoom/ZoomLaw.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lentora::zoom {

namespace {

// Magnification: changes up to this are fingers that tremble.
constexpr double tremor = 0.0005;

// A zoom above this ends the summing up of what was pinched below 100 %.
constexpr double clearOfFloor = 1.05;

// Seconds: the time constant of the approach, the step of the first refresh, and the longest.
constexpr double smoothTau = 0.1;
constexpr double firstStep = 1.0 / 60;
constexpr double longestStep = 0.05;

// Zoom units a second for each unit of zoom.
constexpr double maxZoomRate = 6;

// A displayed zoom nearer to its target than this is there.
constexpr double snapDistance = 0.001;

} // namespace

double bounded(double zoom, double maxZoom) {
    // Written so that a NaN ends up here as well.
    if (!(zoom > minZoom))
        return std::min(minZoom, maxZoom);
    return std::min(zoom, maxZoom);
}

double engaged(double magnitude, double maxZoom) {
    return bounded(pinched(1, magnitude), maxZoom);
}

double pinched(double zoom, double change) {
    return zoom * std::exp(change * pinchGeoGain);
}

double timeStep(double previous, double timestamp) {
    if (previous == 0)
        return firstStep;
    return std::clamp(timestamp - previous, 0.0, longestStep);
}

double smoothed(double displayed, double target, double seconds) {
    const double part = 1 - std::exp(-seconds / smoothTau);
    const double limit = seconds * std::max(displayed, 1.0) * maxZoomRate;
    const double step = std::clamp(part * (target - displayed), -limit, limit);
    const double next = displayed + step;
    return std::abs(next - target) < snapDistance ? target : next;
}

int percent(double zoom) {
    constexpr double most = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::round(zoom * 100), -most, most));
}

std::optional<Point> followedFocus(const Rect& window, Point pointer) {
    const Rect reach{window.x - edgeComfortBand, window.y - edgeComfortBand,
                     window.width + 2 * edgeComfortBand, window.height + 2 * edgeComfortBand};
    if (!reach.contains(pointer))
        return std::nullopt;
    return Point{std::min(std::max(pointer.x, window.x), window.maxX()) - window.x,
                 std::min(std::max(pointer.y, window.y), window.maxY()) - window.y};
}

std::optional<double> PinchChange::take(double cumulative) {
    const double change = cumulative - last_;
    last_ = cumulative;
    if (!isSeeded_) {
        isSeeded_ = true;
        return std::nullopt;
    }
    if (std::abs(change) <= tremor)
        return std::nullopt;
    return change;
}

bool FloorOvershoot::add(double raw, double zoom) {
    if (raw < minZoom)
        sum_ += minZoom - raw;
    else if (zoom > clearOfFloor)
        sum_ = 0;
    return raw < minZoom && sum_ >= closeOvershoot;
}

} // namespace lentora::zoom
