// The refreshes of the simulated displays.
#pragma once

#include "platform/DisplayLink.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/Timeline.h"

#include <cstdint>
#include <memory>

namespace lentora::sim {

/// Every display refreshes at the whole multiples of 1 / `Timing::refresh` seconds. A link that may
/// rest does. Outlives the links.
class SimDisplayLinks final : public DisplayLinks {
public:
    SimDisplayLinks(ContractChecker& contracts, Timeline& timeline, const DesktopState& state)
        : contracts_(contracts), timeline_(timeline), state_(state) {}

    std::unique_ptr<DisplayLink> start(const Rect& display, OnRefresh onRefresh) override;

    bool isRunning() const { return runningCount_ > 0; }
    /// The display that a link was last told to keep in step with.
    const Rect& display() const { return display_; }
    /// How many calls there were.
    std::uint64_t beatCount() const { return beatCount_; }

    /// No link ever rests. Whoever asks for a rest only where there is nothing to do, and wakes the
    /// link where there is, sees no difference.
    bool restless = false;

private:
    struct Beat;
    class Link;

    void scheduleNext(const std::shared_ptr<Beat>& beat);

    ContractChecker& contracts_;
    Timeline& timeline_;
    const DesktopState& state_;
    int runningCount_ = 0;
    std::uint64_t beatCount_ = 0;
    Rect display_;
};

} // namespace lentora::sim
