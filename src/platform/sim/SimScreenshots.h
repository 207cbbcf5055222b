// Screenshots of the simulated desktop.
#pragma once

#include "platform/Screenshots.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/Timeline.h"

namespace lentora::sim {

/// Answers at the same virtual time. Without the permission to record the screen it refuses.
class SimScreenshots final : public Screenshots {
public:
    SimScreenshots(Timeline& timeline, const DesktopState& state)
        : timeline_(timeline), state_(state) {}

    void capture(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                 Answer answer) override;

private:
    Timeline& timeline_;
    const DesktopState& state_;
};

} // namespace lentora::sim
