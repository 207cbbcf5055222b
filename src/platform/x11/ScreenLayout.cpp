#include "platform/x11/ScreenLayout.h"

#include <algorithm>
#include <cmath>

namespace lentora::x11 {

namespace {

constexpr double dpiOfScaleOne = 96;
constexpr double largestScale = 8;
constexpr double usualRefreshRate = 60;

} // namespace

double scaleOf(std::optional<double> dotsPerInch) {
    const double quarters = std::round(dotsPerInch.value_or(dpiOfScaleOne) / dpiOfScaleOne * 4);
    return std::clamp(quarters / 4, 1.0, largestScale);
}

ScreenLayout screenLayout(std::vector<Monitor> monitors, double scale) {
    std::erase_if(monitors, [](const Monitor& monitor) { return monitor.rect.isEmpty(); });
    std::stable_partition(monitors.begin(), monitors.end(),
                          [](const Monitor& monitor) { return monitor.primary; });
    ScreenLayout layout{.monitors = std::move(monitors), .space = {.scale = scale}};
    if (!layout.monitors.empty()) {
        layout.space.originX = layout.monitors.front().rect.x;
        layout.space.originY = layout.monitors.front().rect.y;
    }
    return layout;
}

std::vector<Screen> screensOf(const ScreenLayout& layout) {
    std::vector<Screen> screens;
    for (const Monitor& monitor : layout.monitors) {
        Rect frame = layout.space.toPoints(monitor.rect);
        const double primaryHeight = screens.empty() ? frame.height : screens.front().frame.height;
        frame.y = primaryHeight - frame.y - frame.height;
        screens.push_back({.frame = frame, .scale = layout.space.scale});
    }
    return screens;
}

PixelRect onRoot(const ScreenLayout& layout, const Rect& cocoa) {
    const double primaryHeight =
        layout.monitors.empty() ? 0 : layout.monitors.front().rect.height / layout.space.scale;
    return layout.space.toPixels(
        {cocoa.x, primaryHeight - cocoa.maxY(), cocoa.width, cocoa.height});
}

double refreshInterval(const ScreenLayout& layout, const PixelRect& display) {
    const int x = display.x + display.width / 2;
    const int y = display.y + display.height / 2;
    for (const Monitor& monitor : layout.monitors) {
        if (monitor.refreshRate > 0 && monitor.rect.contains({x, y, 1, 1}))
            return 1 / monitor.refreshRate;
    }
    return 1 / usualRefreshRate;
}

std::vector<ShareableDisplay> shareableDisplaysOf(const ScreenLayout& layout) {
    std::vector<ShareableDisplay> displays;
    for (const Monitor& monitor : layout.monitors)
        displays.push_back({.displayID = monitor.id, .frame = layout.space.toPoints(monitor.rect)});
    return displays;
}

} // namespace lentora::x11
