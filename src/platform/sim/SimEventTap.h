// The event tap of the simulated desktop: events are put in by hand, and the answers are checked
// against what the client had said it would swallow.
#pragma once

#include "platform/EventTap.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/Timeline.h"

#include <memory>
#include <optional>

namespace lentora::sim {

class SimEventTap final : public EventTap {
public:
    /// `permissions` is read whenever a tap is started: without Accessibility and Input Monitoring
    /// it cannot be installed.
    SimEventTap(ContractChecker& contracts, Timeline& timeline,
                const GrantedPermissions& permissions)
        : contracts_(contracts), timeline_(timeline), permissions_(permissions) {}

    // EventTap. The tap's thread starts when time next runs, at the same virtual time.
    void start(TapLocation location, std::weak_ptr<EventTapClient> client) override;
    void stop() override;
    void enable() override;
    void interestChanged() override;

    /// Gives one event to the client, on the tap's thread. Nothing when it did not get there: no
    /// tap is installed, the tap is disabled, or it does not listen to such events. Else whether
    /// the client swallowed it; `event.flags` may be rewritten. A notice that the tap was disabled
    /// disables it first.
    std::optional<bool> deliver(InputEvent& event);

    bool isRunning() const { return started_; }
    bool isEnabled() const { return installed_ && enabled_; }

private:
    void checkForeseen(const SwallowInterest& foreseen, const InputEvent& event, bool swallowed,
                       EventFlags flagsBefore);

    ContractChecker& contracts_;
    Timeline& timeline_;
    const GrantedPermissions& permissions_;
    std::weak_ptr<EventTapClient> client_;
    bool started_ = false;
    bool installed_ = false;
    bool enabled_ = false;
    // Tells a start that was stopped before its thread ran from a later one.
    int generation_ = 0;
    // What an adapter that was told of every change would act on.
    SwallowInterest knownInterest_;
};

} // namespace lentora::sim
