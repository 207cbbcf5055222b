#include "app/SessionParts.h"

#include "input/CGEventTapInputBackend.h"
#include "support/Settings.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace lentora {

std::shared_ptr<WindowTarget> makeWindowTarget(const SessionServices& services,
                                               IndependentApps independentApps) {
    return WindowTarget::create({services.shareableContent, services.windowList, services.displays,
                                 services.pointer, services.applications, services.focusedWindows,
                                 services.permissions, services.clock, services.executor,
                                 services.log},
                                std::move(independentApps));
}

SessionParts makeSession(const SessionServices& services, IndependentApps independentApps) {
    SessionParts parts;
    parts.windowTarget = makeWindowTarget(services, std::move(independentApps));
    // Frames that nobody copies do not need the lower rate that slow machines can be given.
    constexpr bool slowProcessor = false;
    parts.capture = WindowCapture::create({services.captureStreams, services.shareableContent,
                                           services.displays, services.applications, services.clock,
                                           services.executor, services.mainQueue, services.log},
                                          slowProcessor);
    parts.zoom = ZoomController::create({.windowTarget = parts.windowTarget,
                                         .capture = parts.capture,
                                         .panels = services.panels,
                                         .displayLinks = services.displayLinks,
                                         .displays = services.displays,
                                         .pointer = services.pointer,
                                         .permissions = services.permissions,
                                         .textMeasurer = services.textMeasurer,
                                         .shareableContent = services.shareableContent,
                                         .screenshots = services.screenshots,
                                         .clock = services.clock,
                                         .mainQueue = services.mainQueue,
                                         .log = services.log,
                                         .strings = services.strings});
    return parts;
}

void applySettings(const Settings& settings, CGEventTapInputBackend& backend) {
    backend.setGate(settings.gate());
    backend.setPinchEnabled(settings.trackpadEnabled());
    backend.setHotKey(settings.keyboardEnabled() ? std::optional(settings.hotKey()) : std::nullopt);
}

void applySettings(const Settings& settings, const StringTable& strings, ZoomController& zoom) {
    zoom.continuousZoom = settings.continuousZoom();
    zoom.maxZoom = settings.maxZoomLevel();
    zoom.fixedZoom = std::min(settings.fixedZoomLevel(), settings.maxZoomLevel());
    zoom.gateName = displayName(settings.gate(), strings);
}

} // namespace lentora
