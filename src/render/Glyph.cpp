#include "render/Glyph.h"

#include "support/Rect.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace lentora {

namespace {

constexpr int largestSize = 4096;
constexpr double greyLevel = 0.16;

// The shape, in parts of the picture's size, y down: lines of one width with round ends.
constexpr Point ringCenter{0.41, 0.41};
constexpr double ringRadius = 0.29;
constexpr double halfLineWidth = 0.06;
constexpr double halfHandleWidth = 0.072;
constexpr Point handleEnd{0.88, 0.88};

// How far `p` is outside of the line from `a` to `b` of no width.
double distanceToLine(Point p, Point a, Point b) {
    const Point along{b.x - a.x, b.y - a.y};
    const double part = std::clamp(((p.x - a.x) * along.x + (p.y - a.y) * along.y) /
                                       (along.x * along.x + along.y * along.y),
                                   0.0, 1.0);
    return std::hypot(p.x - a.x - part * along.x, p.y - a.y - part * along.y);
}

// How far `p` is outside of the shape; negative inside.
double distanceToShape(Point p) {
    const double ring =
        std::abs(std::hypot(p.x - ringCenter.x, p.y - ringCenter.y) - ringRadius) - halfLineWidth;
    const double diagonal = ringRadius * std::sqrt(0.5);
    const Point handleBegin{ringCenter.x + diagonal, ringCenter.y + diagonal};
    const double handle = distanceToLine(p, handleBegin, handleEnd) - halfHandleWidth;
    return std::min(ring, handle);
}

} // namespace

std::shared_ptr<const Picture> magnifierGlyphImage(int size) {
    if (size < 1 || size > largestSize)
        return nullptr;
    auto picture = std::make_shared<Picture>(size, size);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const Point center{(x + 0.5) / size, (y + 0.5) / size};
            // An edge through the middle of a pixel covers half of it.
            const double coverage = std::clamp(0.5 - distanceToShape(center) * size, 0.0, 1.0);
            const auto grey = static_cast<std::uint8_t>(std::lround(255 * greyLevel * coverage));
            picture->at(x, y) = {grey, grey, grey,
                                 static_cast<std::uint8_t>(std::lround(255 * coverage))};
        }
    }
    return picture;
}

} // namespace lentora
