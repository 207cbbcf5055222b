// The capture service's snapshots on the simulated desktop.
#pragma once

#include "platform/ShareableContent.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/Timeline.h"

#include <algorithm>

namespace lentora::sim {

/// Answers after `Timing::shareableContent` with the desktop as it was when it was asked; with
/// nothing when that time is negative, or screen recording was not granted then.
class SimShareableContent final : public ShareableContentSource {
public:
    SimShareableContent(ContractChecker& contracts, Timeline& timeline, const DesktopState& state)
        : contracts_(contracts), timeline_(timeline), state_(state) {}

    void fetch(Request request, Answer answer) override;

    /// How often it was asked.
    int fetchCount() const { return fetchCount_; }

    /// When the last of the requests so far is answered; never before now.
    double lastAnswerTime() const { return std::max(lastAnswerTime_, timeline_.now()); }

    /// Notes a violation for every request that was not answered yet.
    void checkAllAnswered();

private:
    ContractChecker& contracts_;
    Timeline& timeline_;
    const DesktopState& state_;
    int fetchCount_ = 0;
    int unanswered_ = 0;
    double lastAnswerTime_ = 0;
};

} // namespace lentora::sim
