// What the ZoomController does at every refresh of the display and with every frame.
#include "support/Text.h"
#include "zoom/HintContents.h"
#include "zoom/ZoomController.h"

#include <utility>

namespace lentora {

// The beat

void ZoomController::startTick() {
    lastTick_ = 0;
    lastCursor_.reset();
    // One beat at a time: the old one ends before the new one begins.
    displayLink_.reset();
    displayLink_ = services_.displayLinks.start(
        overlay_.screenFrame(), [this](const Refresh& refresh) { onTick(refresh); });
}

void ZoomController::stopTick() {
    displayLink_.reset();
    lastTick_ = 0;
}

// A lens that stands still costs nothing: while the pointer stays where it was at the last beat,
// the next one would do the same again.
void ZoomController::rest(Point cursor) {
    if (std::exchange(lastCursor_, cursor) != cursor)
        return;
    displayLink_->restUntilPointerMoves();
}

void ZoomController::wake() {
    if (displayLink_)
        displayLink_->wake();
}

void ZoomController::onTick(const Refresh& refresh) {
    // A rest is no stall: nothing would have moved.
    if (refresh.isAfterRest)
        lastTick_ = refresh.lastLeftOut;
    switch (state_) {
    case SessionState::idle:
        return;
    case SessionState::armed:
        return tickArmed();
    case SessionState::active:
        return tickActive(refresh.timestamp);
    }
}

void ZoomController::tickActive(double timestamp) {
    displayedZoom_ =
        zoom::smoothed(displayedZoom_, targetZoom_, zoom::timeStep(lastTick_, timestamp));
    lastTick_ = timestamp;

    const Point cursor = pointer();
    if (!detachActive_) {
        const Point inOverlay{cursor.x - sessionScreenOrigin_.x, cursor.y - sessionScreenOrigin_.y};
        if (const auto focus = zoom::followedFocus(sessionWindowRect_, inOverlay))
            lastFocus_ = *focus;
    }
    overlay_.magnifier().apply(lastFocus_, displayedZoom_);
    overlay_.placeBadge(cursor);
    if (zoom::percent(displayedZoom_) != lastShownPercent_)
        updatePanel();
    if (displayedZoom_ == targetZoom_)
        rest(cursor);
}

// Frames

void ZoomController::handleLiveFrame(const std::shared_ptr<const Surface>& surface) {
    MagnifierView& magnifier = overlay_.magnifier();
    magnifier.showFrame(surface);
    if (firstFrameLogged_ || engageStartTime_ <= 0)
        return;
    firstFrameLogged_ = true;
    // A pinch has shown the way: its lens is there at once. One from the keyboard grows.
    if (!isKeyboardSession_) {
        displayedZoom_ = targetZoom_;
        magnifier.apply(lastFocus_, targetZoom_);
    }
    services_.log.log(
        "perf", "FIRST FRAME on screen: " + text::wholeMilliseconds(now() - engageStartTime_) +
                    " ms after engage");
}

// The hint card

void ZoomController::updatePanel() {
    MagnifierView& magnifier = overlay_.magnifier();
    if (state_ != SessionState::active) {
        magnifier.fadeHint(false);
        return;
    }
    const int percent = zoom::percent(displayedZoom_);
    lastShownPercent_ = percent;
    if (sessionLocked_)
        magnifier.showHint(std::string(hint::productName), percent, sessionCommands_);
    else
        magnifier.showHint({}, percent, {});
}

} // namespace lentora
