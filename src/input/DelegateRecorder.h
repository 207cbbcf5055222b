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
        pass(&InputBackendDelegate::inputDidEngage, magnitude,
             {"inputDidEngage", "magnitude", magnitude});
    }
    void inputDidUpdatePinch(double cumulative) override {
        pass(&InputBackendDelegate::inputDidUpdatePinch, cumulative,
             {"inputDidUpdatePinch", "cumulative", cumulative});
    }
    void inputDidRelease(ReleaseReason reason) override {
        pass(&InputBackendDelegate::inputDidRelease, reason,
             {"inputDidRelease", "reason", toString(reason)});
    }
    void inputGateChanged(bool active) override {
        pass(&InputBackendDelegate::inputGateChanged, active,
             {"inputGateChanged", "active", active});
    }
    void inputLockChanged(bool locked) override {
        pass(&InputBackendDelegate::inputLockChanged, locked,
             {"inputLockChanged", "locked", locked});
    }
    void inputDetach(bool active) override {
        pass(&InputBackendDelegate::inputDetach, active, {"inputDetach", "active", active});
    }
    void inputDidRequestRetarget(double magnitude) override {
        pass(&InputBackendDelegate::inputDidRequestRetarget, magnitude,
             {"inputDidRequestRetarget", "magnitude", magnitude});
    }
    void inputArmingChanged(bool armed) override {
        pass(&InputBackendDelegate::inputArmingChanged, armed,
             {"inputArmingChanged", "armed", armed});
    }

private:
    template <typename Argument>
    void pass(void (InputBackendDelegate::*operation)(Argument), Argument argument,
              const DelegateCall& call) {
        onCall_(call);
        if (next_)
            (*next_.*operation)(argument);
    }

    const OnCall onCall_;
    const std::shared_ptr<InputBackendDelegate> next_;
};

} // namespace lentora
