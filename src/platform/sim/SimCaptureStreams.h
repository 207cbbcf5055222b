// The capture service of the simulated desktop: streams that show the windows of a DesktopState
// with the delays that its timing states.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/Timeline.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lentora::sim {

class SimCaptureStream;

/// A stream that runs delivers samples until it has stopped, also while it is being stopped. It
/// delivers none while its display is not connected.
class SimCaptureStreams final : public CaptureStreams {
public:
    /// A stream that began to run, or has stopped.
    struct Change {
        bool running;
        const CaptureFilter& filter;
        const CaptureConfiguration& configuration;
    };

    SimCaptureStreams(ContractChecker& contracts, Timeline& timeline, const DesktopState& state)
        : contracts_(contracts), timeline_(timeline), state_(state) {}

    Made make(const CaptureFilter& filter, const CaptureConfiguration& configuration,
              std::weak_ptr<CaptureOutput> output) override;

    /// Every stream that runs delivers one sample more, now.
    void deliverSample(SampleStatus status, bool withSurface);

    bool isRunning() const;

    /// Notes a violation for every stream that nobody has told to stop.
    void checkNothingLeft() const;

    std::function<void(const Change&)> onRunningChanged;

    /// Streams that run deliver samples by themselves.
    bool deliversFrames = true;

    /// What goes wrong when a stream is made or stopped; empty: nothing does.
    std::string makeError;
    std::string stopError;

private:
    friend class SimCaptureStream;

    std::vector<std::shared_ptr<SimCaptureStream>> living() const;

    ContractChecker& contracts_;
    Timeline& timeline_;
    const DesktopState& state_;
    std::vector<std::weak_ptr<SimCaptureStream>> streams_;
};

} // namespace lentora::sim
