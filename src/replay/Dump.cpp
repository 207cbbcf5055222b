#include "replay/Dump.h"

#include "capture/WindowCapture.h"
#include "input/CGEventTapInputBackend.h"
#include "platform/sim/SimDesktop.h"
#include "zoom/ZoomController.h"

#include <variant>

namespace lentora::replay {

namespace {

// Layers as they look at `time`, in the middle of a movement where one runs.

TraceObject clip(const MagnifierView& view, double time) {
    const Layer& layer = *view.clipLayer();
    return TraceObject().add("frame", layer.frameAt(time)).add("opacity", layer.opacityAt(time));
}

TraceObject image(const MagnifierView& view, double time) {
    const Layer& layer = *view.imageLayer();
    return TraceObject()
        .add("frame", layer.frameAt(time))
        .add("contents", !std::holds_alternative<std::monostate>(layer.contents()));
}

TraceObject hint(const HintCard& hint, double time) {
    return TraceObject()
        .add("card", hint.hintCard()->frameAt(time))
        .add("cardAlpha", hint.hintCard()->opacityAt(time))
        .add("text", hint.text())
        .add("textAlpha", hint.hintLabel()->opacityAt(time))
        .add("dark", hint.hintIsDark());
}

TraceObject badge(const MagnifierView& view, double time) {
    const Layer& layer = *view.cursorBadge();
    return TraceObject()
        .add("position", layer.positionAt(time))
        .add("opacity", layer.opacityAt(time));
}

TraceObject panel(const LensOverlay& overlay) {
    const OverlayPanel* panel = overlay.panel();
    return TraceObject()
        .add("shown", panel != nullptr && panel->isVisible())
        .add("frame", panel != nullptr ? panel->frame() : Rect{0, 0, 0, 0});
}

} // namespace

void addSession(TraceObject& dump, const ZoomController& zoom, const sim::SimDesktop& desktop,
                const WindowCapture& capture) {
    const ZoomController::Snapshot now = zoom.snapshot();
    const MagnifierView& view = zoom.overlay().magnifier();
    const double time = desktop.timeline.now();
    dump.add("state", toString(now.state))
        .add("targetZoom", now.targetZoom)
        .add("displayedZoom", now.displayedZoom)
        .add("belowFloorAccum", now.belowFloorAccum)
        .add("sessionLocked", now.sessionLocked)
        .add("detachActive", now.detachActive)
        .add("engageInFlight", now.engageInFlight)
        .add("isKeyboardSession", now.isKeyboardSession)
        .add("badgeShown", now.badgeShown)
        .add("sessionWindowID", now.sessionWindowID)
        .add("sessionWindowRect", now.sessionWindowRect)
        .add("lastFocus", now.lastFocus)
        .add("sessionScreenOrigin", now.sessionScreenOrigin)
        .add("panel", panel(zoom.overlay()))
        .add("clip", clip(view, time))
        .add("image", image(view, time))
        .add("hint", hint(view.hint(), time))
        .add("badge", badge(view, time))
        .add("capture", TraceObject()
                            .add("running", desktop.captureStreams.isRunning())
                            .add("delivered", capture.deliveredCount()));
}

void addBackend(TraceObject& dump, const CGEventTapInputBackend& backend) {
    const auto now = backend.snapshot();
    dump.add("backend", TraceObject()
                            .add("label", backend.label())
                            .add("gateActive", now.gateActive)
                            .add("engaged", now.engaged)
                            .add("locked", now.locked)
                            .add("detached", now.detached)
                            .add("cumulative", now.cumulative));
}

void addSettings(TraceObject& dump, const sim::SimDefaults& defaults) {
    TraceObject settings;
    for (const auto& [key, value] : defaults.all())
        settings.addSetting(key, value);
    dump.add("settings", settings);
}

} // namespace lentora::replay
