// What the CGEventTapInputBackend makes of each event of the tap, and whether applications get it.
// All of it runs with the backend's mutex held.
#include "input/CGEventTapInputBackend.h"
#include "support/Text.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace lentora {

namespace {

// Magnification, as a part of the size at the beginning of the pinch.
constexpr double engageThreshold = 0.03;
// Seconds. A gate press shorter than the first is a click; a press that starts less than the
// second after a click's end is a double press.
constexpr double quickTapMax = 0.25;
constexpr double doubleClickWindow = 0.45;
// Seconds without a timeout notice after which the back-off starts anew, and its longest delay.
constexpr double stormGap = 2.0;
constexpr double maxReenableDelay = 1.5;

constexpr double noTap = -1;

} // namespace

bool CGEventTapInputBackend::handle(InputEvent& event) {
    const std::lock_guard lock(mutex_);
    switch (event.type) {
    case EventType::tapDisabledByTimeout:
        handleTapTimeout();
        return false;
    case EventType::tapDisabledByUserInput:
        services_.tap.enable();
        services_.log.log("input", "tap re-enabled (user-input disable)");
        return false;
    default:
        break;
    }
    if (!event.isConvertible || !std::isfinite(event.magnification))
        return false;

    switch (event.type) {
    case EventType::leftMouseDown:
    case EventType::leftMouseUp:
    case EventType::rightMouseDown:
    case EventType::rightMouseUp:
    case EventType::leftMouseDragged:
        handleClick(event);
        return false;
    case EventType::keyDown:
        return handleKeyDown(event);
    case EventType::keyUp:
        return handleKeyUp(event);
    case EventType::flagsChanged:
        if (pinchEnabled_)
            handleFlagsChanged(event.flags);
        return false;
    case EventType::magnify:
        return pinchEnabled_ && handleMagnify(event.magnification);
    case EventType::beginGesture:
    case EventType::endGesture:
    case EventType::gesture:
    case EventType::scrollWheel:
    case EventType::smartMagnify:
    case EventType::tapDisabledByTimeout:
    case EventType::tapDisabledByUserInput:
        return false;
    }
    return false;
}

void CGEventTapInputBackend::handleClick(InputEvent& event) {
    if (pinchEnabled_ && state_.engaged && state_.physicalDown)
        event.flags &= ~familyMask(gate_);
}

bool CGEventTapInputBackend::handleKeyDown(const InputEvent& event) {
    if (hotKey_ && hotKey_->matches(event.keyCode, event.flags)) {
        if (!event.isAutorepeat) {
            state_.hotKeyHeld = true;
            postHotKeyCallback(onHotKeyDown_);
        }
        return true;
    }
    if (!state_.locked && !state_.engaged)
        return false;
    if (event.keyCode == keyCode::tab && (event.flags & eventFlag::command) != 0) {
        closeFromKey("[tap] Cmd+Tab -> chiudo la lente (lo switcher e la lente non convivono)",
                     ReleaseReason::appSwitch);
        return false;
    }
    if (event.keyCode == keyCode::escape) {
        closeFromKey("[tap] ESC -> close", ReleaseReason::escKey);
        return true;
    }
    return false;
}

bool CGEventTapInputBackend::handleKeyUp(const InputEvent& event) {
    if (!state_.hotKeyHeld || !hotKey_ || event.keyCode != hotKey_->keyCode)
        return false;
    state_.hotKeyHeld = false;
    postHotKeyCallback(onHotKeyUp_);
    return true;
}

void CGEventTapInputBackend::closeFromKey(std::string_view message, ReleaseReason reason) {
    services_.log.log("key", message);
    state_.locked = false;
    state_.willLockOnRelease = false;
    state_.reengagePending = false;
    state_.lastTapUpTime = noTap;
    if (state_.engaged) {
        forgetEngagement();
        toMain([reason](InputBackendDelegate& delegate) { delegate.inputDidRelease(reason); });
    }
    settle();
}

void CGEventTapInputBackend::handleFlagsChanged(EventFlags flags) {
    const bool command = (flags & eventFlag::command) != 0;
    if (command != state_.commandDown) {
        state_.commandDown = command;
        updateDetach();
    }
    const bool held = isHeld(gate_, flags);
    if (held == state_.physicalDown)
        return;
    state_.physicalDown = held;
    const double now = services_.clock.now();
    if (held)
        gatePressed(now);
    else
        gateReleased(now);
    settle();
}

void CGEventTapInputBackend::gatePressed(double now) {
    state_.pressDownTime = now;
    if (state_.lastTapUpTime < 0 || now - state_.lastTapUpTime >= doubleClickWindow)
        return;
    state_.lastTapUpTime = noTap;
    const std::string gate(rawValue(gate_));
    if (state_.locked) {
        state_.reengagePending = true;
        state_.pinchAtSecondClick = state_.cumulativeMag;
        services_.log.log("gate", "[tap] " + gate +
                                      " double-click while LOCKED -> close on release, or "
                                      "re-target if you pinch");
    } else {
        state_.willLockOnRelease = true;
        services_.log.log("gate", "[tap] " + gate + " double-click+hold -> will STAY on release");
    }
}

void CGEventTapInputBackend::gateReleased(double now) {
    const std::string gate(rawValue(gate_));
    if (state_.reengagePending) {
        state_.willLockOnRelease = false;
        state_.reengagePending = false;
        state_.locked = false;
        state_.lastTapUpTime = noTap;
        services_.log.log("gate",
                          "[tap] " + gate + " double-click while LOCKED, no pinch -> close");
        if (state_.engaged) {
            forgetEngagement();
            toMain([](InputBackendDelegate& delegate) {
                delegate.inputDidRelease(ReleaseReason::gateUp);
            });
        }
    } else if (state_.willLockOnRelease && state_.engaged) {
        state_.willLockOnRelease = false;
        state_.locked = true;
        // Command that is held all along detaches only when the next change of a modifier tells of
        // it again.
        state_.commandDown = false;
        services_.log.log("gate", "[tap] " + gate + " released after pinch -> LOCKED (stay)");
    } else {
        state_.willLockOnRelease = false;
        state_.lastTapUpTime = now - state_.pressDownTime < quickTapMax ? now : noTap;
    }
}

bool CGEventTapInputBackend::handleMagnify(double magnification) {
    state_.cumulativeMag += magnification;
    tryEngage();
    const double cumulative = state_.cumulativeMag;
    if (state_.reengagePending &&
        std::abs(cumulative - state_.pinchAtSecondClick) > engageThreshold) {
        state_.reengagePending = false;
        state_.willLockOnRelease = true;
        services_.log.log("engage", "[tap] >>> RE-TARGET (fresh pinch on a locked zoom) <<<");
        toMain([cumulative](InputBackendDelegate& delegate) {
            delegate.inputDidRequestRetarget(cumulative);
        });
    } else if (state_.engaged) {
        toMain([cumulative](InputBackendDelegate& delegate) {
            delegate.inputDidUpdatePinch(cumulative);
        });
    }
    return state_.gateActive;
}

void CGEventTapInputBackend::tryEngage() {
    const double cumulative = state_.cumulativeMag;
    if (!state_.gateActive || state_.engaged || std::abs(cumulative) <= engageThreshold)
        return;
    state_.engaged = true;
    services_.log.log("engage", "[tap] >>> ENGAGE (real pinch while Option, cum=" +
                                    text::fixed(cumulative, 3) + ") <<<");
    toMain([cumulative](InputBackendDelegate& delegate) { delegate.inputDidEngage(cumulative); });
}

void CGEventTapInputBackend::forgetEngagement() {
    state_.engaged = false;
    state_.cumulativeMag = 0;
}

// A system that finds the tap slow switches it off. Switching it on again at once, again and
// again, would make matters worse: repeated notices back off.
void CGEventTapInputBackend::handleTapTimeout() {
    const double now = services_.clock.now();
    if (now - state_.lastTapDisable > stormGap)
        state_.disableStorm = 0;
    state_.lastTapDisable = now;
    const int storm = ++state_.disableStorm;
    const double delay = storm < 2 ? 0 : std::min(storm / 4.0, maxReenableDelay);
    services_.log.log("input", "tap disabled by timeout (storm=" + std::to_string(storm) +
                                   ") -> re-enable in " +
                                   std::to_string(static_cast<int>(delay * 1000)) + "ms");
    if (delay == 0) {
        services_.tap.enable();
        return;
    }
    services_.executor.postAfter(delay, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->services_.tap.enable();
    });
}

} // namespace lentora
