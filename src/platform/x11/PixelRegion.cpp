#include "platform/x11/PixelRegion.h"

#include <algorithm>
#include <limits>

namespace lentora::x11 {

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
