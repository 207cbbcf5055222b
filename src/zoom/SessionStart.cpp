// How the ZoomController gets from the wish for a lens to a stream of frames, and what it tells
// the user when there is no way.
#include "support/Text.h"
#include "zoom/ZoomController.h"

#include <utility>
#include <variant>

namespace lentora {

namespace {

// Seconds that a notice stays, and that lie at least between two about the missing permission.
constexpr double noticeDuration = 2.5;
constexpr double screenWarnInterval = 3;

} // namespace

Task<void> ZoomController::runPinchEngage(std::shared_ptr<ZoomController> self, Point cursor) {
    co_await continueOn(self->services_.mainQueue);
    co_await self->engage(cursor);
    self->engageInFlight_ = false;
}

Task<void> ZoomController::runKeyboardEngage(std::shared_ptr<ZoomController> self, Point cursor) {
    co_await continueOn(self->services_.mainQueue);
    co_await self->engage(cursor);
}

Task<void> ZoomController::runRetarget(std::shared_ptr<ZoomController> self, std::uint32_t previous,
                                       Point cursor) {
    co_await continueOn(self->services_.mainQueue);
    co_await self->retarget(previous, cursor);
    self->engageInFlight_ = false;
}

Task<WindowTarget::Result> ZoomController::windowUnderCursor() {
    WindowTarget::Result result = co_await services_.windowTarget->windowUnderCursor();
    co_await continueOn(services_.mainQueue);
    co_return result;
}

Task<void> ZoomController::engage(Point cursor) {
    engageStartTime_ = now();
    firstFrameLogged_ = false;
    const double asked = now();
    WindowTarget::Result result = co_await windowUnderCursor();
    services_.log.log("perf",
                      "windowUnderCursor: " + text::wholeMilliseconds(now() - asked) + " ms");
    if (const auto* error = std::get_if<WindowTargetError>(&result))
        engageFailed(*error);
    else
        co_await applyTarget(std::get<CaptureTarget>(std::move(result)), cursor);
}

void ZoomController::engageFailed(WindowTargetError error) {
    log("cannot engage: " + std::string(toString(error)));
    lastEngageFailTime_ = now();
    state_ = SessionState::idle;
    sessionLocked_ = false;
    sessionWindowID_ = 0;
    stopTick();
    overlay_.setBadgeShown(false);
    // This may end more than the attempt: a lens that another attempt has opened meanwhile, or the
    // stream of one whose fade the armed state cut short. Idle means that there is neither window
    // nor stream, so this step looks beyond its own attempt, as no other does. A lens that fades
    // out ends its stream itself.
    if (!overlay_.magnifier().releasing())
        services_.capture->stop();
    cancelBackendEngage();
    switch (error) {
    case WindowTargetError::protected_:
        showNotice("hud.protected.title", "hud.protected.body");
        break;
    case WindowTargetError::noWindow:
        overlay_.orderOut();
        break;
    }
    sessionEnded();
}

Task<void> ZoomController::retarget(std::uint32_t previous, Point cursor) {
    engageStartTime_ = now();
    firstFrameLogged_ = false;
    WindowTarget::Result result = co_await windowUnderCursor();
    if (state_ != SessionState::active)
        co_return;
    if (std::holds_alternative<WindowTargetError>(result)) {
        log("RETARGET: no capturable window under cursor -> close");
        cancelBackendEngage();
        closeSession();
        co_return;
    }
    const auto& target = std::get<CaptureTarget>(result);
    const std::uint32_t windowID = target.scWindow.windowID;
    if (windowID == previous) {
        log("RETARGET: same window under cursor -> keep the current fixed zoom");
        co_return;
    }
    log("RETARGET: move fixed zoom to '" + target.appName + "' win " + std::to_string(windowID) +
        " (was " + std::to_string(previous) + ")");
    targetZoom_ = zoom::bounded(displayedZoom_, maxZoom);
    belowFloor_.reset();
    co_await applyTarget(std::get<CaptureTarget>(std::move(result)), cursor);
}

Task<void> ZoomController::applyTarget(CaptureTarget target, Point cursor) {
    // Closed while the window was being chosen.
    if (state_ != SessionState::active)
        co_return;
    placeLens(target, cursor);
    displayedZoom_ = 1;
    updatePanel();
    syncBadge();
    overlay_.placeBadge(cursor);
    startTick();
    const double asked = now();
    co_await services_.capture->start(std::move(target));
    co_await continueOn(services_.mainQueue);
    services_.log.log("perf", "capture.start returned: " + text::wholeMilliseconds(now() - asked) +
                                  " ms (engage+" +
                                  text::wholeMilliseconds(now() - engageStartTime_) + " ms)");
}

// The lens lies on the display under the pointer, and its picture is as sharp as the display that
// shows most of the window.
void ZoomController::placeLens(const CaptureTarget& target, Point cursor) {
    sessionWindowID_ = target.scWindow.windowID;
    const Rect window = geometry_.flipped(target.cgFrame);
    const Screen screen = geometry_.screenForCocoaPoint(cursor);
    const double scale = geometry_.scaleForCocoaRect(window);
    sessionScreenOrigin_ = {screen.frame.x, screen.frame.y};
    sessionWindowRect_ = {window.x - sessionScreenOrigin_.x, window.y - sessionScreenOrigin_.y,
                          window.width, window.height};
    lastFocus_ = {cursor.x - sessionScreenOrigin_.x - sessionWindowRect_.x,
                  cursor.y - sessionScreenOrigin_.y - sessionWindowRect_.y};
    detachActive_ = false;
    log("windowRectInView=" + rs(sessionWindowRect_) + " focus=" + ps(lastFocus_));
    presentOverlay(screen);
    overlay_.magnifier().beginSession(sessionWindowRect_, lastFocus_, {window.width, window.height},
                                      scale);
}

void ZoomController::presentOverlay(const Screen& screen) {
    overlay_.present(screen);
    services_.capture->setLensWindowID(overlay_.panel()->windowNumber());
    if (displayLink_)
        displayLink_->follow(screen.frame);
    // The badge's place is counted from the display's corner.
    wake();
}

void ZoomController::warnMissingScreenRecording() {
    if (now() - lastScreenWarnTime_ <= screenWarnInterval)
        return;
    lastScreenWarnTime_ = now();
    log("engage blocked: Screen Recording permission missing");
    showNotice("hud.noperm.title", "hud.noperm.body");
    sessionEnded();
}

void ZoomController::showNotice(std::string_view titleKey, std::string_view bodyKey) {
    presentOverlay(geometry_.screenForCocoaPoint(pointer()));
    overlay_.magnifier().showHint(services_.strings.text(titleKey), HintCard::noPercent,
                                  services_.strings.text(bodyKey));
    // Whatever is on the panel by then goes with it.
    services_.mainQueue.postAfter(noticeDuration, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self)
            return;
        self->overlay_.magnifier().fadeHint(false);
        self->overlay_.orderOut();
    });
}

} // namespace lentora
