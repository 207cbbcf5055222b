#include "platform/sim/DesktopPicture.h"

#include "capture/Geometry.h"
#include "platform/sim/LayerPicture.h"
#include "platform/sim/SimPanels.h"
#include "platform/sim/SimWindows.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace lentora::sim {

namespace {

bool isLeftOut(const Window& window, const CaptureFilter& filter) {
    // What the service does not offer is in none of its pictures either.
    if (!window.shareable)
        return true;
    if (std::ranges::find(filter.excludedWindows, window.id, &ShareableWindow::windowID) !=
        filter.excludedWindows.end())
        return true;
    return filter.includingApplications &&
           std::ranges::find(*filter.includingApplications, window.pid,
                             &ShareableApplication::pid) == filter.includingApplications->end();
}

// The windows that touch `source` (CG space), from back to front, but for those that
// `isHidden` tells.
template <typename Predicate>
std::vector<SimSurface::Patch> patchesIn(const DesktopState& state, const Rect& source,
                                         const Predicate& isHidden) {
    std::vector<SimSurface::Patch> patches;
    for (const Window& window : state.windows) {
        if (intersects(window.bounds, source) && !isHidden(window))
            patches.push_back(
                {window.bounds, pixelOf(window.color), std::clamp(window.alpha, 0.0, 1.0)});
    }
    std::ranges::reverse(patches);
    return patches;
}

} // namespace

std::shared_ptr<const SimSurface> capturedSurface(const DesktopState& state,
                                                  const CaptureFilter& filter,
                                                  const CaptureConfiguration& configuration) {
    Rect source = configuration.sourceRect;
    source.x += filter.display.frame.x;
    source.y += filter.display.frame.y;
    return std::make_shared<SimSurface>(
        configuration.width, configuration.height, source,
        patchesIn(state, source, [&](const Window& window) { return isLeftOut(window, filter); }));
}

Picture pictureUnderPanel(const DesktopState& state, const SimPanel& panel, double time) {
    if (state.displays.empty())
        return {};
    const SimDisplays displays(state);
    const Geometry geometry(displays);
    const Rect& frame = panel.frame();
    const Rect source = geometry.flipped(frame);
    const double scale = geometry.scaleForCocoaRect(frame);
    const auto all = [](const Window& /*window*/) { return false; };
    Picture picture = SimSurface(static_cast<int>(std::lround(frame.width * scale)),
                                 static_cast<int>(std::lround(frame.height * scale)), source,
                                 patchesIn(state, source, all))
                          .picture();
    if (panel.content())
        drawLayers(*panel.content(), time, {0, 0, frame.width, frame.height}, picture);
    return picture;
}

} // namespace lentora::sim
