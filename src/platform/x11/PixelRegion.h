// Areas in X pixels.
#pragma once

#include "platform/x11/PixelRect.h"

#include <cstdint>
#include <vector>

namespace lentora::x11 {

/// An area that has to be drawn again. Covers at least what was added; beyond a few rectangles
/// those are joined whose union wastes least. The rectangles may overlap, and none is empty.
class PixelRegion {
public:
    static constexpr std::size_t maxRects = 16;

    PixelRegion() = default;
    explicit PixelRegion(const PixelRect& rect) { add(rect); }

    void add(const PixelRect& rect);
    void add(const PixelRegion& other);
    void clear() { rects_.clear(); }

    bool isEmpty() const { return rects_.empty(); }
    const std::vector<PixelRect>& rects() const { return rects_; }
    PixelRect bounds() const;
    /// Of the rectangles together; what two of them cover counts twice.
    std::int64_t area() const;

    bool operator==(const PixelRegion&) const = default;

private:
    void joinClosest();

    std::vector<PixelRect> rects_;
};

} // namespace lentora::x11
