#include "platform/x11/PixelRegion.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lentora::x11 {

namespace {

// Positions and sizes travel as 16-bit numbers.
constexpr double maxCoordinate = 32767;

int toPixel(double value) {
    if (std::isnan(value))
        return 0;
    return static_cast<int>(std::round(std::clamp(value, -maxCoordinate, maxCoordinate)));
}

} // namespace

PixelRect intersection(const PixelRect& a, const PixelRect& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    const int width = std::min(a.maxX(), b.maxX()) - left;
    const int height = std::min(a.maxY(), b.maxY()) - top;
    if (width <= 0 || height <= 0)
        return {};
    return {left, top, width, height};
}

PixelRect bounding(const PixelRect& a, const PixelRect& b) {
    const int left = std::min(a.x, b.x);
    const int top = std::min(a.y, b.y);
    return {left, top, std::max(a.maxX(), b.maxX()) - left, std::max(a.maxY(), b.maxY()) - top};
}

PixelRect toPixels(const Rect& points, double scale) {
    return {toPixel(points.x * scale), toPixel(points.y * scale),
            std::max(toPixel(points.width * scale), 1),
            std::max(toPixel(points.height * scale), 1)};
}

void PixelRegion::add(const PixelRect& rect) {
    if (rect.isEmpty() ||
        std::ranges::any_of(rects_, [&](const PixelRect& r) { return r.contains(rect); }))
        return;
    std::erase_if(rects_, [&](const PixelRect& r) { return rect.contains(r); });
    rects_.push_back(rect);
    if (rects_.size() > maxRects)
        joinClosest();
}

void PixelRegion::add(const PixelRegion& other) {
    for (const PixelRect& rect : other.rects_)
        add(rect);
}

void PixelRegion::joinClosest() {
    std::size_t first = 0;
    std::size_t second = 1;
    std::int64_t leastWaste = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < rects_.size(); ++i) {
        for (std::size_t j = i + 1; j < rects_.size(); ++j) {
            const std::int64_t waste =
                bounding(rects_[i], rects_[j]).area() - rects_[i].area() - rects_[j].area();
            if (waste < leastWaste) {
                leastWaste = waste;
                first = i;
                second = j;
            }
        }
    }
    const PixelRect joined = bounding(rects_[first], rects_[second]);
    std::erase_if(rects_, [&](const PixelRect& r) { return joined.contains(r); });
    rects_.push_back(joined);
}

PixelRect PixelRegion::bounds() const {
    PixelRect all = rects_.empty() ? PixelRect{} : rects_.front();
    for (const PixelRect& rect : rects_)
        all = bounding(all, rect);
    return all;
}

std::int64_t PixelRegion::area() const {
    std::int64_t sum = 0;
    for (const PixelRect& rect : rects_)
        sum += rect.area();
    return sum;
}

} // namespace lentora::x11
