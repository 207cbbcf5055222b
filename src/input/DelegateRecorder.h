// A delegate that passes every operation on as data: for traces, for watching, for tests.
#pragma once

#include "input/InputBackend.h"

#include <functional>
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

    explicit DelegateRecorder(OnCall onCall) : onCall_(std::move(onCall)) {}

    void inputDidEngage(double magnitude) override {
        onCall_({"inputDidEngage", "magnitude", magnitude});
    }
    void inputDidUpdatePinch(double cumulative) override {
        onCall_({"inputDidUpdatePinch", "cumulative", cumulative});
    }
    void inputDidRelease(ReleaseReason reason) override {
        onCall_({"inputDidRelease", "reason", toString(reason)});
    }
    void inputGateChanged(bool active) override { onCall_({"inputGateChanged", "active", active}); }
    void inputLockChanged(bool locked) override { onCall_({"inputLockChanged", "locked", locked}); }
    void inputDetach(bool active) override { onCall_({"inputDetach", "active", active}); }
    void inputDidRequestRetarget(double magnitude) override {
        onCall_({"inputDidRequestRetarget", "magnitude", magnitude});
    }
    void inputArmingChanged(bool armed) override {
        onCall_({"inputArmingChanged", "armed", armed});
    }

private:
    const OnCall onCall_;
};

} // namespace lentora
