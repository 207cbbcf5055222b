// A delegate that tells every operation as data: for traces, for watching, for tests.
#pragma once

#include "input/InputBackend.h"

#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <variant>

namespace lentora {

struct DelegateCall {
    /// The names of the operation and of its argument.
    std::string_view operation;
    std::string_view label;
    /// A reason comes as its name.
    std::variant<double, bool, std::string_view> argument;
};

class DelegateRecorder final : public InputBackendDelegate {
public:
    using OnCall = std::function<void(const DelegateCall&)>;

    /// `next`, if any, gets every operation after `onCall` did.
    explicit DelegateRecorder(OnCall onCall, std::shared_ptr<InputBackendDelegate> next = nullptr)
        : onCall_(std::move(onCall)), next_(std::move(next)) {}

    void inputDidEngage(double magnitude) override {
        onCall_({"inputDidEngage", "magnitude", magnitude});
        if (next_)
            next_->inputDidEngage(magnitude);
    }
    void inputDidUpdatePinch(double cumulative) override {
        onCall_({"inputDidUpdatePinch", "cumulative", cumulative});
        if (next_)
            next_->inputDidUpdatePinch(cumulative);
    }
    void inputDidRelease(ReleaseReason reason) override {
        onCall_({"inputDidRelease", "reason", toString(reason)});
        if (next_)
            next_->inputDidRelease(reason);
    }
    void inputGateChanged(bool active) override {
        onCall_({"inputGateChanged", "active", active});
        if (next_)
            next_->inputGateChanged(active);
    }
    void inputLockChanged(bool locked) override {
        onCall_({"inputLockChanged", "locked", locked});
        if (next_)
            next_->inputLockChanged(locked);
    }
    void inputDetach(bool active) override {
        onCall_({"inputDetach", "active", active});
        if (next_)
            next_->inputDetach(active);
    }
    void inputDidRequestRetarget(double magnitude) override {
        onCall_({"inputDidRequestRetarget", "magnitude", magnitude});
        if (next_)
            next_->inputDidRequestRetarget(magnitude);
    }
    void inputArmingChanged(bool armed) override {
        onCall_({"inputArmingChanged", "armed", armed});
        if (next_)
            next_->inputArmingChanged(armed);
    }

private:
    const OnCall onCall_;
    const std::shared_ptr<InputBackendDelegate> next_;
};

} // namespace lentora
