// Shapes on a grid of pixels: y down, a pixel's centre at half its measures.
#pragma once

#include "support/Rect.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lentora {

/// How far a shadow is followed, in its deviations; what is left of it there is less than a grey
/// step.
inline constexpr double shadowReach = 3;

struct RoundedRect {
    Rect rect;
    double radius = 0;

    /// How far `p` is outside of the edge; negative inside.
    double distance(Point p) const {
        const double r = std::max(std::min({radius, rect.width / 2, rect.height / 2}), 0.0);
        const Point center = rect.center();
        const double x = std::abs(p.x - center.x) - rect.width / 2 + r;
        const double y = std::abs(p.y - center.y) - rect.height / 2 + r;
        return std::min(std::max(x, y), 0.0) + std::hypot(std::max(x, 0.0), std::max(y, 0.0)) - r;
    }

    /// How much of the pixel around `center` is inside, from 0 to 1; exact along straight edges.
    double coverage(Point center) const { return std::clamp(0.5 - distance(center), 0.0, 1.0); }

    /// Likewise of its shadow, blurred with the standard deviation `deviation`: as along a straight
    /// edge, which is close enough where corners are wider than the blur.
    double shadowCoverage(Point center, double deviation) const {
        return deviation > 0 ? std::erfc(distance(center) / (deviation * std::numbers::sqrt2)) / 2
                             : coverage(center);
    }

    /// Without a margin of this width on every side.
    RoundedRect inset(double margin) const {
        return {{rect.x + margin, rect.y + margin, std::max(rect.width - 2 * margin, 0.0),
                 std::max(rect.height - 2 * margin, 0.0)},
                std::max(radius - margin, 0.0)};
    }
};

} // namespace lentora
