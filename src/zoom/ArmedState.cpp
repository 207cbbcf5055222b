// The armed state of the ZoomController: the gate is held after a double press, and a pinch would
// open a locked lens. Only the badge is to be seen, beside the pointer on whatever display it is.
#include "zoom/ZoomController.h"

namespace lentora {

void ZoomController::enterArmed() {
    const Point cursor = pointer();
    state_ = SessionState::armed;
    sessionLocked_ = true;
    displayedZoom_ = 1;
    lastShownPercent_.reset();
    presentOverlay(geometry_.screenForCocoaPoint(cursor));
    overlay_.magnifier().clearLens();
    updatePanel();
    syncBadge();
    overlay_.placeBadge(cursor);
    startTick();
    log("ARMED (second press held, no pinch yet) \u2014 badge follows the cursor; window picked at "
        "pinch");
}

void ZoomController::disarm() {
    log("DISARM \u2014 hide badge");
    stopTick();
    overlay_.setBadgeShown(false);
    state_ = SessionState::idle;
    sessionLocked_ = false;
    overlay_.magnifier().releaseArmed();
    sessionEnded();
}

void ZoomController::tickArmed() {
    const Point cursor = pointer();
    const Screen screen = geometry_.screenForCocoaPoint(cursor);
    if (screen.frame != overlay_.screenFrame()) {
        presentOverlay(screen);
        overlay_.magnifier().clearLens();
        // Not a change of what is shown but of the scale that it is drawn for.
        overlay_.magnifier().setCursorBadge(true, screen.scale);
    }
    // No rest: the display under a pointer that stands still can become another.
    overlay_.placeBadge(cursor);
}

} // namespace lentora
