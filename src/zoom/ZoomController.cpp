#include "zoom/ZoomController.h"

#include "support/Text.h"
#include "zoom/HintContents.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lentora {

namespace {

// Seconds after a failed attempt to open a lens in which the next ones are refused: a pinch that
// goes on would ask again with every event.
constexpr double engageRetryCooldown = 0.5;

// Decimals of zoom factors in the log.
constexpr int zoomDecimals = 3;

} // namespace

std::string_view toString(SessionState state) {
    constexpr std::array<std::string_view, 3> names{"idle", "armed", "active"};
    return names[static_cast<std::size_t>(state)];
}

std::shared_ptr<ZoomController> ZoomController::create(Services services) {
    std::shared_ptr<ZoomController> self(new ZoomController(std::move(services)));
    self->services_.capture->setOnFrame([weak = self->weak_from_this()](const auto& surface,
                                                                        Size /*pixelSize*/,
                                                                        const Rect& /*frame*/) {
        if (const auto controller = weak.lock())
            controller->handleLiveFrame(surface);
    });
    return self;
}

ZoomController::ZoomController(Services services)
    : services_(std::move(services)), geometry_(services_.displays),
      overlay_({services_.panels, services_.displays, services_.textMeasurer,
                services_.shareableContent, services_.screenshots, services_.clock,
                services_.mainQueue}) {
    overlay_.magnifier().onReleaseComplete = [this] { teardown(); };
}

ZoomController::~ZoomController() = default;

ZoomController::Snapshot ZoomController::snapshot() const {
    return {.state = state_,
            .targetZoom = targetZoom_,
            .displayedZoom = displayedZoom_,
            .belowFloorAccum = belowFloor_.sum(),
            .sessionLocked = sessionLocked_,
            .detachActive = detachActive_,
            .engageInFlight = engageInFlight_,
            .isKeyboardSession = isKeyboardSession_,
            .badgeShown = overlay_.badgeShown(),
            .sessionWindowID = sessionWindowID_,
            .sessionWindowRect = sessionWindowRect_,
            .lastFocus = lastFocus_,
            .sessionScreenOrigin = sessionScreenOrigin_};
}

// Opening

void ZoomController::inputDidEngage(double magnitude) {
    startSession(continuousZoom ? zoom::engaged(magnitude, maxZoom) : std::min(fixedZoom, maxZoom));
}

// A refusal tells the backend, which otherwise believes in a lens that is not there.
bool ZoomController::passesEngageGate() {
    if (engageInFlight_ || now() - lastEngageFailTime_ <= engageRetryCooldown) {
        cancelBackendEngage();
        return false;
    }
    if (!services_.permissions.screenRecording()) {
        lastEngageFailTime_ = now();
        cancelBackendEngage();
        warnMissingScreenRecording();
        return false;
    }
    return true;
}

void ZoomController::startSession(double initial) {
    if (state_ == SessionState::active || !passesEngageGate())
        return;
    stopTick();
    const Point cursor = pointer();
    targetZoom_ = zoom::bounded(initial, maxZoom);
    pinch_.reseed();
    belowFloor_.reset();
    isKeyboardSession_ = false;
    state_ = SessionState::active;
    const auto backend = inputBackend.lock();
    sessionLocked_ = backend && backend->isLocked();
    sessionCommands_ = hint::pinchCommands(services_.strings, gateName);
    log("ENGAGE (initial=" + text::fixed(targetZoom_, zoomDecimals) +
        "x, locked=" + (sessionLocked_ ? "true" : "false") + ")");
    engageInFlight_ = true;
    startDetached(runPinchEngage(shared_from_this(), cursor));
}

void ZoomController::inputDidRequestRetarget(double /*magnitude*/) {
    if (state_ != SessionState::active || !passesEngageGate())
        return;
    const Point cursor = pointer();
    pinch_.reseed();
    engageInFlight_ = true;
    startDetached(runRetarget(shared_from_this(), sessionWindowID_, cursor));
}

void ZoomController::keyboardOpen() {
    if (state_ != SessionState::idle)
        return;
    if (!services_.permissions.screenRecording()) {
        warnMissingScreenRecording();
        return;
    }
    const Point cursor = pointer();
    targetZoom_ = std::min(fixedZoom, maxZoom);
    pinch_.reseed();
    isKeyboardSession_ = true;
    state_ = SessionState::active;
    sessionLocked_ = false;
    sessionCommands_ = hint::keyboardCommands(services_.strings);
    log("ENGAGE (keyboard, fixed=" + text::fixed(targetZoom_, zoomDecimals) + "x)");
    startDetached(runKeyboardEngage(shared_from_this(), cursor));
}

// While a lens is open

void ZoomController::inputDidUpdatePinch(double cumulative) {
    if (state_ != SessionState::active || detachActive_)
        return;
    const auto change = pinch_.take(cumulative);
    if (!change)
        return;
    const double raw = zoom::pinched(targetZoom_, *change);
    targetZoom_ = zoom::bounded(raw, maxZoom);
    wake();
    if (sessionLocked_ && belowFloor_.add(raw, targetZoom_))
        autoCloseLockedAtFloor();
}

void ZoomController::inputGateChanged(bool active) {
    log(active ? "gate active" : "gate inactive");
    // The pinch that is likely to come finds the windows known.
    if (active && services_.permissions.screenRecording())
        services_.windowTarget->prewarm();
}

void ZoomController::inputLockChanged(bool locked) {
    switch (state_) {
    case SessionState::idle:
        if (locked)
            enterArmed();
        return;
    case SessionState::armed:
        if (!locked)
            disarm();
        return;
    case SessionState::active:
        return setLocked(locked, locked ? "lock ON (help panel)" : "lock off");
    }
}

void ZoomController::keyboardSetLocked(bool locked) {
    if (state_ == SessionState::active)
        setLocked(locked, locked ? "lock ON (keyboard help panel)" : "lock off");
}

void ZoomController::setLocked(bool locked, std::string_view message) {
    sessionLocked_ = locked;
    log(message);
    updatePanel();
    syncBadge();
}

void ZoomController::inputDetach(bool active) {
    detachActive_ = active;
    // What was pinched meanwhile must not make the zoom jump.
    if (!active)
        pinch_.reseed();
    wake();
    log(active ? "detach on (lens frozen)" : "detach off");
}

void ZoomController::inputArmingChanged(bool armed) {
    if (armed && state_ == SessionState::idle)
        enterArmed();
    else if (!armed && state_ == SessionState::armed)
        disarm();
}

void ZoomController::syncBadge() {
    overlay_.setBadgeShown(state_ != SessionState::idle);
}

// Closing

void ZoomController::inputDidRelease(ReleaseReason reason) {
    if (state_ != SessionState::active)
        return;
    log("RELEASE (" + std::string(toString(reason)) + ") -> close");
    closeSession();
}

void ZoomController::autoCloseLockedAtFloor() {
    log("locked zoom pinched back through 100% -> auto-close");
    belowFloor_.reset();
    cancelBackendEngage();
    closeSession();
}

void ZoomController::closeSession() {
    endSession();
    // Panel and stream go when the lens has faded out, in `teardown`.
    overlay_.magnifier().releaseSession();
    sessionEnded();
}

void ZoomController::teardown() {
    log("teardown \u2014 hide overlay + stop capture");
    endSession();
    overlay_.orderOut();
    services_.capture->stop();
}

void ZoomController::endSession() {
    state_ = SessionState::idle;
    sessionLocked_ = false;
    detachActive_ = false;
    sessionWindowID_ = 0;
    stopTick();
    overlay_.setBadgeShown(false);
}

void ZoomController::sessionEnded() const {
    // A copy: whoever is called may set another.
    if (const auto callback = onSessionEnded)
        callback();
}

void ZoomController::cancelBackendEngage() const {
    if (const auto backend = inputBackend.lock())
        backend->cancelEngage();
}

} // namespace lentora
