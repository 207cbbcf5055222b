#include "render/Animation.h"

#include <algorithm>

namespace lentora {

namespace {

// One coordinate of the curve at its parameter s.
double bezier(double p1, double p2, double s) {
    const double r = 1 - s;
    return 3 * r * r * s * p1 + 3 * r * s * s * p2 + s * s * s;
}

} // namespace

double TimingFunction::valueAt(double time) const {
    const double x = std::clamp(time, 0.0, 1.0);
    if (x == 0 || x == 1)
        return x;
    // x grows with s, so halving finds s wherever the curve is flat or steep. Every step gains a
    // bit; 60 are more than a double tells apart.
    double low = 0;
    double high = 1;
    for (int step = 0; step < 60; ++step) {
        const double middle = (low + high) / 2;
        (bezier(x1_, x2_, middle) < x ? low : high) = middle;
    }
    return bezier(y1_, y2_, (low + high) / 2);
}

} // namespace lentora
