#include "input/CGEventTapInputBackend.h"

#include <utility>

namespace lentora {

namespace {

const char* name(bool value) {
    return value ? "true" : "false";
}

const char* locationName(TapLocation location) {
    return location == TapLocation::session ? "session" : "cghidEventTap";
}

} // namespace

std::shared_ptr<CGEventTapInputBackend> CGEventTapInputBackend::create(const Services& services,
                                                                       TapLocation location) {
    return std::shared_ptr<CGEventTapInputBackend>(new CGEventTapInputBackend(services, location));
}

CGEventTapInputBackend::CGEventTapInputBackend(const Services& services, TapLocation location)
    : services_(services), location_(location) {}

CGEventTapInputBackend::~CGEventTapInputBackend() = default;

// Configuration

void CGEventTapInputBackend::setDelegate(std::weak_ptr<InputBackendDelegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<InputBackendDelegate> CGEventTapInputBackend::delegate() const {
    const std::lock_guard lock(mutex_);
    return delegate_.lock();
}

void CGEventTapInputBackend::setGate(GateModifier gate) {
    {
        const std::lock_guard lock(mutex_);
        gate_ = gate;
    }
    services_.tap.interestChanged();
}

void CGEventTapInputBackend::setPinchEnabled(bool enabled) {
    {
        const std::lock_guard lock(mutex_);
        pinchEnabled_ = enabled;
    }
    services_.tap.interestChanged();
}

void CGEventTapInputBackend::setHotKey(std::optional<HotKey> hotKey) {
    {
        const std::lock_guard lock(mutex_);
        hotKey_ = std::move(hotKey);
    }
    services_.tap.interestChanged();
}

void CGEventTapInputBackend::setOnHotKeyDown(std::function<void()> onHotKeyDown) {
    const std::lock_guard lock(mutex_);
    onHotKeyDown_ = std::move(onHotKeyDown);
}

void CGEventTapInputBackend::setOnHotKeyUp(std::function<void()> onHotKeyUp) {
    const std::lock_guard lock(mutex_);
    onHotKeyUp_ = std::move(onHotKeyUp);
}

// What the shell and the session read

std::string CGEventTapInputBackend::label() const {
    return std::string("Public API — CGEventTap (") + locationName(location_) +
           ": gestures + scroll + flags)";
}

bool CGEventTapInputBackend::gateActive() const {
    const std::lock_guard lock(mutex_);
    return state_.gateActive;
}

bool CGEventTapInputBackend::engaged() const {
    const std::lock_guard lock(mutex_);
    return state_.engaged;
}

bool CGEventTapInputBackend::isLocked() const {
    const std::lock_guard lock(mutex_);
    return state_.locked;
}

CGEventTapInputBackend::Snapshot CGEventTapInputBackend::snapshot() const {
    const std::lock_guard lock(mutex_);
    return {state_.gateActive, state_.engaged, state_.locked, state_.detached,
            state_.cumulativeMag};
}

SwallowInterest CGEventTapInputBackend::swallowInterest() const {
    const std::lock_guard lock(mutex_);
    SwallowInterest interest;
    if (pinchEnabled_) {
        interest.pinch =
            state_.locked ? SwallowInterest::Pinch::always : SwallowInterest::Pinch::withGate;
        interest.plainClicks = state_.engaged && state_.physicalDown;
    }
    interest.gate = gate_;
    interest.gateHeld = state_.physicalDown;
    interest.escape = state_.locked || state_.engaged;
    interest.shortcut = hotKey_;
    return interest;
}

// Life

void CGEventTapInputBackend::start() {
    if (std::exchange(started_, true))
        return;
    services_.tap.start(location_, weak_from_this());
}

void CGEventTapInputBackend::tapDidStart(bool installed) {
    const std::string message =
        installed ? std::string("CGEventTap installed on dedicated thread (") +
                        locationName(location_) + ")"
                  : "!! CGEvent.tapCreate FAILED — grant Accessibility AND Input Monitoring, "
                    "then relaunch";
    services_.mainQueue.post([&log = services_.log, message] { log.log("input", message); });
}

void CGEventTapInputBackend::stop() {
    started_ = false;
    services_.tap.stop();
    const std::lock_guard lock(mutex_);
    State stopped;
    // A shortcut that is held stays held: its release is still ours to swallow after a restart.
    stopped.hotKeyHeld = state_.hotKeyHeld;
    stopped.pressDownTime = state_.pressDownTime;
    stopped.lastTapDisable = state_.lastTapDisable;
    stopped.disableStorm = state_.disableStorm;
    state_ = stopped;
    services_.log.log("input", "CGEventTap stopped");
}

void CGEventTapInputBackend::debugForceEngage() {
    {
        const std::lock_guard lock(mutex_);
        services_.log.log("engage", std::string("DEBUG force-engage (no trackpad) gate=") +
                                        name(state_.gateActive));
        state_.engaged = true;
    }
    callNow([](InputBackendDelegate& delegate) { delegate.inputDidEngage(1.0); });
    services_.tap.interestChanged();
}

void CGEventTapInputBackend::debugForceRelease() {
    bool wasEngaged = false;
    {
        const std::lock_guard lock(mutex_);
        state_.locked = false;
        wasEngaged = state_.engaged;
        if (wasEngaged)
            forgetEngagement();
    }
    if (wasEngaged) {
        callNow([](InputBackendDelegate& delegate) {
            delegate.inputDidRelease(ReleaseReason::manual);
        });
    }
    {
        const std::lock_guard lock(mutex_);
        updateEffectiveGate();
        updateDetach();
        signalLock();
    }
    services_.tap.interestChanged();
}

void CGEventTapInputBackend::cancelEngage() {
    {
        const std::lock_guard lock(mutex_);
        forgetEngagement();
        state_.locked = false;
        state_.willLockOnRelease = false;
        state_.reengagePending = false;
        settle();
    }
    services_.tap.interestChanged();
}

// What follows from a change of state

void CGEventTapInputBackend::settle() {
    updateEffectiveGate();
    updateDetach();
    signalLock();
    signalArming();
}

void CGEventTapInputBackend::updateEffectiveGate() {
    const bool active = state_.physicalDown || state_.locked;
    if (active == state_.gateActive)
        return;
    state_.gateActive = active;
    services_.log.log("gate", std::string("[tap] effective gate ") +
                                  (active ? "ACTIVE" : "inactive") +
                                  " (physical=" + name(state_.physicalDown) +
                                  " locked=" + name(state_.locked) + ")");
    toMain([active](InputBackendDelegate& delegate) { delegate.inputGateChanged(active); });
    if (active || !state_.engaged)
        return;
    services_.log.log("release", "[tap] >>> RELEASE (gate inactive) <<<");
    forgetEngagement();
    toMain([](InputBackendDelegate& delegate) { delegate.inputDidRelease(ReleaseReason::gateUp); });
}

void CGEventTapInputBackend::updateDetach() {
    const bool detached = state_.locked && state_.commandDown;
    if (detached == state_.detached)
        return;
    state_.detached = detached;
    services_.log.log("gate",
                      detached ? "[tap] detach ON (lens frozen, cursor free)" : "[tap] detach off");
    toMain([detached](InputBackendDelegate& delegate) { delegate.inputDetach(detached); });
}

void CGEventTapInputBackend::signalLock() {
    const bool locked = state_.locked;
    if (locked == state_.lastLockSignaled)
        return;
    state_.lastLockSignaled = locked;
    toMain([locked](InputBackendDelegate& delegate) { delegate.inputLockChanged(locked); });
}

void CGEventTapInputBackend::signalArming() {
    const bool armed = state_.willLockOnRelease;
    if (armed == state_.lastArmingSignaled)
        return;
    state_.lastArmingSignaled = armed;
    toMain([armed](InputBackendDelegate& delegate) { delegate.inputArmingChanged(armed); });
}

// Reaching the main thread

void CGEventTapInputBackend::toMain(Call call) {
    if (auto delegate = delegate_.lock())
        services_.mainQueue.post(
            [delegate = std::move(delegate), call = std::move(call)] { call(*delegate); });
}

// The delegate may call back, so the mutex must not be held.
void CGEventTapInputBackend::callNow(const Call& call) {
    std::shared_ptr<InputBackendDelegate> delegate;
    {
        const std::lock_guard lock(mutex_);
        delegate = delegate_.lock();
    }
    if (delegate)
        call(*delegate);
}

void CGEventTapInputBackend::postHotKeyCallback(const std::function<void()>& callback) {
    if (callback)
        services_.mainQueue.post(callback);
}

} // namespace lentora
