// What the ZoomController does at every refresh of the display and with every frame.
#include "support/Text.h"
#include "zoom/HintContents.h"
#include "zoom/ZoomController.h"

namespace lentora {

// The beat

void ZoomController::startTick() {
    lastTick_ = 0;
    // One beat at a time: the old one ends before the new one begins.
    displayLink_.reset();
    displayLink_ = services_.displayLinks.start(overlay_.screenFrame(),
                                                [this](double timestamp) { onTick(timestamp); });
}

void ZoomController::stopTick() {
    displayLink_.reset();
    lastTick_ = 0;
}

void ZoomController::onTick(double timestamp) {
    switch (state_) {
    case SessionState::idle:
        return;
    case SessionState::armed:
        return tickArmed();
    case SessionState::active:
        return tickActive(timestamp);
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
}

// Frames

void ZoomController::handleLiveFrame(const std::shared_ptr<const Surface>& surface) {
    MagnifierView& magnifier = overlay_.magnifier();
    if (!magnifier.releasing) {
        magnifier.imageLayer()->setContents(surface);
        if (magnifier.awaitingFirstFrame) {
            magnifier.awaitingFirstFrame = false;
            magnifier.fadeInClip();
        }
    }
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
