#include "platform/sim/SimCaptureStreams.h"

#include "platform/sim/DesktopPicture.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace lentora::sim {

class SimCaptureStream final : public CaptureStream,
                               public std::enable_shared_from_this<SimCaptureStream> {
public:
    SimCaptureStream(SimCaptureStreams& service, CaptureFilter filter,
                     const CaptureConfiguration& configuration, std::weak_ptr<CaptureOutput> output)
        : service_(service), contracts_(service.contracts_), filter_(std::move(filter)),
          configuration_(configuration), output_(std::move(output)) {}

    ~SimCaptureStream() override {
        // The service may be gone by now.
        if (mustBeStopped())
            contracts_.noteViolation("a capture stream was let go of while it ran");
    }
    SimCaptureStream(const SimCaptureStream&) = delete;
    SimCaptureStream& operator=(const SimCaptureStream&) = delete;

    void start(Done done) override;
    void stop(Done done) override;

    void deliver(SampleStatus status, bool withSurface);
    bool isRunning() const { return state_ == State::running || state_ == State::stopping; }
    bool mustBeStopped() const { return state_ == State::starting || state_ == State::running; }

private:
    // Stopping: told to stop, and samples still come. Over: stopped, or it never got to run.
    enum class State { made, starting, running, stopping, over };

    void finishStart(const Done& done, bool refused);
    void finishStop(const Done& done);
    void tick();
    void tickAfter(double seconds);
    void setRunning(bool running);
    bool displayIsConnected() const;

    SimCaptureStreams& service_;
    ContractChecker& contracts_;
    const CaptureFilter filter_;
    const CaptureConfiguration configuration_;
    const std::weak_ptr<CaptureOutput> output_;
    State state_ = State::made;
};

void SimCaptureStream::start(Done done) {
    if (state_ != State::made) {
        contracts_.noteViolation("a capture stream was started twice");
        return;
    }
    state_ = State::starting;
    const double delay = service_.state_.timing.startCapture;
    service_.timeline_.schedule(
        std::abs(delay), ThreadRole::service,
        [weak = weak_from_this(), done = std::move(done), refused = delay < 0] {
            if (const auto self = weak.lock())
                self->finishStart(done, refused);
        });
}

void SimCaptureStream::finishStart(const Done& done, bool refused) {
    std::optional<std::string> error;
    if (!service_.state_.permissions.screenRecording)
        error = "screen recording is not permitted";
    else if (!displayIsConnected())
        error = "the display is gone";
    else if (refused)
        error = "the capture service refused";
    if (error) {
        state_ = State::over;
        done(error);
        return;
    }
    state_ = State::running;
    setRunning(true);
    tickAfter(service_.state_.timing.firstFrame);
    done(std::nullopt);
}

void SimCaptureStream::stop(Done done) {
    if (state_ != State::running) {
        const bool early = state_ == State::made || state_ == State::starting;
        contracts_.noteViolation(early ? "a capture stream was stopped before it had started"
                                       : "a capture stream was stopped and did not run");
        return;
    }
    state_ = State::stopping;
    service_.timeline_.schedule(
        service_.state_.timing.stopCapture, ThreadRole::service,
        [self = shared_from_this(), done = std::move(done)] { self->finishStop(done); });
}

void SimCaptureStream::finishStop(const Done& done) {
    state_ = State::over;
    setRunning(false);
    done(service_.stopError.empty() ? std::nullopt : std::optional(service_.stopError));
}

void SimCaptureStream::setRunning(bool running) {
    if (service_.onRunningChanged)
        service_.onRunningChanged({running, filter_, configuration_});
}

void SimCaptureStream::tickAfter(double seconds) {
    service_.timeline_.schedule(seconds, ThreadRole::samples, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->tick();
    });
}

void SimCaptureStream::tick() {
    if (!isRunning())
        return;
    if (service_.deliversFrames)
        deliver(SampleStatus::complete, true);
    tickAfter(std::max(service_.state_.timing.frameInterval, configuration_.minimumFrameInterval));
}

void SimCaptureStream::deliver(SampleStatus status, bool withSurface) {
    const auto output = output_.lock();
    if (!output || !isRunning() || !displayIsConnected())
        return;
    CaptureSample sample;
    sample.status = status;
    sample.width = configuration_.width;
    sample.height = configuration_.height;
    if (withSurface)
        sample.surface = capturedSurface(service_.state_, filter_, configuration_);
    const ContractChecker::RoleScope scope(contracts_, ThreadRole::samples);
    output->didOutputSample(sample);
}

// A display is known by where it is.
bool SimCaptureStream::displayIsConnected() const {
    const auto& screens = service_.state_.displays;
    return std::ranges::any_of(screens, [&](const Screen& screen) {
        const Rect& frame = screen.frame;
        const double top = screens.front().frame.height - frame.maxY();
        return filter_.display.frame == Rect{frame.x, top, frame.width, frame.height};
    });
}

CaptureStreams::Made SimCaptureStreams::make(const CaptureFilter& filter,
                                             const CaptureConfiguration& configuration,
                                             std::weak_ptr<CaptureOutput> output) {
    if (!makeError.empty())
        return {nullptr, makeError};
    auto stream =
        std::make_shared<SimCaptureStream>(*this, filter, configuration, std::move(output));
    std::erase_if(streams_, [](const auto& weak) { return weak.expired(); });
    streams_.push_back(stream);
    return {std::move(stream), {}};
}

std::vector<std::shared_ptr<SimCaptureStream>> SimCaptureStreams::living() const {
    std::vector<std::shared_ptr<SimCaptureStream>> living;
    for (const auto& weak : streams_) {
        if (auto stream = weak.lock())
            living.push_back(std::move(stream));
    }
    return living;
}

void SimCaptureStreams::deliverSample(SampleStatus status, bool withSurface) {
    for (const auto& stream : living())
        stream->deliver(status, withSurface);
}

bool SimCaptureStreams::isRunning() const {
    return std::ranges::any_of(living(), &SimCaptureStream::isRunning);
}

void SimCaptureStreams::checkNothingLeft() const {
    for (const auto& stream : living()) {
        if (stream->mustBeStopped())
            contracts_.noteViolation("a capture stream was left running");
    }
}

} // namespace lentora::sim
