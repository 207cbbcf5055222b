// The refreshes of the simulated displays.
#pragma once

#include "platform/DisplayLink.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/Timeline.h"

#include <memory>

namespace lentora::sim {

/// Every display refreshes at the whole multiples of 1 / `Timing::refresh` seconds. Outlives the
/// links.
class SimDisplayLinks final : public DisplayLinks {
public:
    SimDisplayLinks(ContractChecker& contracts, Timeline& timeline, const DesktopState& state)
        : contracts_(contracts), timeline_(timeline), state_(state) {}

    std::unique_ptr<DisplayLink> start(const Rect& display, OnRefresh onRefresh) override;

    bool isRunning() const { return runningCount_ > 0; }

private:
    struct Beat;
    class Link;

    void scheduleNext(const std::shared_ptr<Beat>& beat);

    ContractChecker& contracts_;
    Timeline& timeline_;
    const DesktopState& state_;
    int runningCount_ = 0;
};

} // namespace lentora::sim
