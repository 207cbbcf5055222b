#include "platform/sim/Canvas.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace lentora::sim {

namespace {

std::uint8_t byte(double component) {
    return static_cast<std::uint8_t>(std::lround(255 * std::clamp(component, 0.0, 1.0)));
}

const Pixel& heldAt(const Picture& picture, double x, double y) {
    return picture.at(static_cast<int>(std::clamp(x, 0.0, picture.width() - 1.0)),
                      static_cast<int>(std::clamp(y, 0.0, picture.height() - 1.0)));
}

} // namespace

Shade linearSample(const Picture& picture, Point at) {
    // The four pixels whose centres are around the point.
    const double left = std::floor(at.x - 0.5);
    const double top = std::floor(at.y - 0.5);
    const double right = at.x - 0.5 - left;
    const double down = at.y - 0.5 - top;
    const auto sample = [&](double x, double y, double weight) {
        return Shade(heldAt(picture, x, y)).times(weight);
    };
    return sample(left, top, (1 - right) * (1 - down))
        .plus(sample(left + 1, top, right * (1 - down)))
        .plus(sample(left, top + 1, (1 - right) * down))
        .plus(sample(left + 1, top + 1, right * down));
}

Shade nearestSample(const Picture& picture, Point at) {
    return Shade(heldAt(picture, std::floor(at.x), std::floor(at.y)));
}

void blend(Pixel& pixel, const Shade& shade) {
    const Shade result = shade.plus(Shade(pixel).times(1 - shade.alpha));
    pixel = {byte(result.red), byte(result.green), byte(result.blue), byte(result.alpha)};
}

void Canvas::endGroup(double opacity) {
    const Picture group = std::move(groups_.back());
    groups_.pop_back();
    Picture& picture = target();
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (group.at(x, y).alpha > 0)
                blend(picture.at(x, y), Shade(group.at(x, y)).times(opacity));
        }
    }
}

Canvas::PixelRange Canvas::rangeOf(const Rect& bounds) const {
    double left = std::max(bounds.x, 0.0);
    double top = std::max(bounds.y, 0.0);
    double right = std::min(bounds.maxX(), static_cast<double>(picture_.width()));
    double bottom = std::min(bounds.maxY(), static_cast<double>(picture_.height()));
    for (const RoundedRect& clip : clips_) {
        left = std::max(left, clip.rect.x);
        top = std::max(top, clip.rect.y);
        right = std::min(right, clip.rect.maxX());
        bottom = std::min(bottom, clip.rect.maxY());
    }
    if (!(left < right && top < bottom))
        return {0, 0, 0, 0};
    return {static_cast<int>(std::floor(left)), static_cast<int>(std::floor(top)),
            static_cast<int>(std::ceil(right)), static_cast<int>(std::ceil(bottom))};
}

double Canvas::clipCoverage(Point center) const {
    double coverage = 1;
    for (const RoundedRect& clip : clips_)
        coverage *= clip.coverage(center);
    return coverage;
}

} // namespace lentora::sim
