#include "capture/Geometry.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

namespace lentora {

namespace {

constexpr double scaleWithoutDisplays = 2.0;

double sharedArea(const Rect& a, const Rect& b) {
    const double area = intersection(a, b).area();
    return std::isfinite(area) ? area : 0;
}

} // namespace

double Geometry::primaryHeight() const {
    const std::vector<Screen> screens = displays_.screens();
    if (!screens.empty())
        return screens.front().frame.height;
    const std::optional<Screen> main = displays_.mainScreen();
    return main ? main->frame.height : 0;
}

Screen Geometry::screenForCocoaPoint(Point point) const {
    const std::vector<Screen> screens = displays_.screens();
    for (const Screen& screen : screens) {
        if (screen.frame.contains(point))
            return screen;
    }
    if (const std::optional<Screen> main = displays_.mainScreen())
        return *main;
    return screens.empty() ? Screen{.frame = {}, .scale = scaleWithoutDisplays} : screens.front();
}

double Geometry::scaleForCocoaRect(const Rect& rect) const {
    const std::vector<Screen> screens = displays_.screens();
    if (screens.empty()) {
        const std::optional<Screen> main = displays_.mainScreen();
        return main ? main->scale : scaleWithoutDisplays;
    }
    const Screen* best = &screens.front();
    for (const Screen& screen : screens) {
        if (sharedArea(screen.frame, rect) > sharedArea(best->frame, rect))
            best = &screen;
    }
    return best->scale;
}

Point Geometry::flipped(Point point) const {
    return {point.x, primaryHeight() - point.y};
}

Rect Geometry::flipped(const Rect& rect) const {
    return {rect.x, primaryHeight() - rect.y - rect.height, rect.width, rect.height};
}

std::string truncated(double coordinate) {
    // 2^63 is the first double that a 64-bit number cannot hold.
    constexpr double limit = 9223372036854775808.0;
    if (!(std::abs(coordinate) < limit))
        return "?";
    return std::to_string(static_cast<std::int64_t>(coordinate));
}

std::string rs(const Rect& rect) {
    return "(" + truncated(rect.x) + "," + truncated(rect.y) + " " + truncated(rect.width) + "x" +
           truncated(rect.height) + ")";
}

std::string ps(Point point) {
    return "(" + truncated(point.x) + "," + truncated(point.y) + ")";
}

} // namespace lentora
