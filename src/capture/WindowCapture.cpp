#include "capture/WindowCapture.h"

#include "support/Text.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace lentora {

namespace {

// Seconds between two frames at least.
constexpr double frameInterval = 1.0 / 60;
constexpr double slowFrameInterval = 1.0 / 30;
constexpr int queueDepth = 6;
// The smallest picture a stream makes, in pixels: that of a window of no size.
constexpr double minPixels = 2;

// How the log says in which way the lens is kept out of its own picture.
constexpr std::string_view lensNotExcluded = "none";
constexpr std::string_view lensExcludedByWindow = "window";
constexpr std::string_view lensExcludedByApplication = "app-level";

using Error = std::optional<std::string>;

int pixels(double points, double scale) {
    const double rounded = std::round(scale * points);
    // Written so that a NaN ends up here as well.
    if (!(rounded > minPixels))
        return static_cast<int>(minPixels);
    return static_cast<int>(
        std::min(rounded, static_cast<double>(std::numeric_limits<int>::max())));
}

auto startOf(const std::shared_ptr<CaptureStream>& stream, BackgroundExecutor& executor) {
    return answerOf<Error>(executor,
                           [stream](CaptureStream::Done done) { stream->start(std::move(done)); });
}

auto stopOf(const std::shared_ptr<CaptureStream>& stream, BackgroundExecutor& executor) {
    return answerOf<Error>(executor,
                           [stream](CaptureStream::Done done) { stream->stop(std::move(done)); });
}

} // namespace

std::shared_ptr<WindowCapture> WindowCapture::create(const Services& services, bool slowProcessor) {
    return std::shared_ptr<WindowCapture>(new WindowCapture(services, slowProcessor));
}

WindowCapture::WindowCapture(const Services& services, bool slowProcessor)
    : services_(services), geometry_(services.displays),
      frameInterval_(slowProcessor ? slowFrameInterval : frameInterval) {}

WindowCapture::~WindowCapture() {
    // Nobody is left to hear of it. The stream lives until it has stopped.
    if (stream_)
        stream_->stop([stream = stream_](const Error& /*error*/) {});
}

void WindowCapture::setOnFrame(OnFrame onFrame) {
    onFrame_ = std::move(onFrame);
}

std::optional<CaptureTarget> WindowCapture::currentTarget() const {
    const std::lock_guard lock(frameLock_);
    return currentTarget_;
}

void WindowCapture::setCurrentTarget(std::optional<CaptureTarget> target) {
    const std::lock_guard lock(frameLock_);
    currentTarget_.swap(target);
}

// Starting and stopping

Task<void> WindowCapture::start(CaptureTarget target) {
    const auto self = shared_from_this();
    const auto turn = co_await turns_.next(services_.executor);
    co_await startStream(std::move(target));
    turn->pass();
}

void WindowCapture::stop() {
    startDetached(stopInTurn());
}

Task<void> WindowCapture::stopInTurn() {
    const auto self = shared_from_this();
    const auto turn = co_await turns_.next(services_.executor);
    co_await stopAsync();
    turn->pass();
}

Task<void> WindowCapture::startStream(CaptureTarget target) {
    const double asked = services_.clock.now();
    co_await stopAsync();
    const double stopped = services_.clock.now();
    setCurrentTarget(target);

    const double scale = geometry_.scaleForCocoaRect(geometry_.flipped(target.cgFrame));
    const CaptureConfiguration configuration = configurationFor(target, scale);
    const Exclusion exclusion = co_await exclusionFor(target);

    const CaptureStreams::Made made =
        services_.streams.make(exclusion.filter, configuration, weak_from_this());
    if (!made.stream) {
        logStartFailed(made.error);
        co_return;
    }
    const double starting = services_.clock.now();
    const Error error = co_await startOf(made.stream, services_.executor);
    if (error) {
        logStartFailed(*error);
        co_return;
    }
    stream_ = made.stream;
    services_.log.log("perf", "SCStream: stopPrev " + text::wholeMilliseconds(stopped - asked) +
                                  " ms + startCapture " +
                                  text::wholeMilliseconds(services_.clock.now() - starting) +
                                  " ms");
    logStarted(target, configuration, scale, exclusion.lens);
}

Task<void> WindowCapture::stopAsync() {
    if (!stream_)
        co_return;
    const std::shared_ptr<CaptureStream> stream = std::exchange(stream_, nullptr);
    // Whatever went wrong, the stream is not used again.
    co_await stopOf(stream, services_.executor);
    clearPending();
    forgetDisplayed();
    services_.log.log("capture", "stopped");
}

CaptureConfiguration WindowCapture::configurationFor(const CaptureTarget& target,
                                                     double scale) const {
    const Rect& frame = target.cgFrame;
    const Rect& display = target.scDisplay.frame;
    CaptureConfiguration configuration;
    configuration.width = pixels(frame.width, scale);
    configuration.height = pixels(frame.height, scale);
    configuration.sourceRect = {frame.x - display.x, frame.y - display.y, frame.width,
                                frame.height};
    configuration.scalesToFit = true;
    configuration.showsCursor = false;
    configuration.pixelFormat = PixelFormat::bgra8;
    configuration.queueDepth = queueDepth;
    configuration.minimumFrameInterval = frameInterval_;
    configuration.captureResolution = CaptureResolution::best;
    return configuration;
}

// A single window's picture would be simpler to ask for, but it would lack the window's menus and
// sheets, which are windows of their own. So it is the display, without what is in the way.
Task<WindowCapture::Exclusion> WindowCapture::exclusionFor(CaptureTarget target) {
    Exclusion result;
    result.filter.display = target.scDisplay;
    result.filter.excludedWindows = target.excludeWindows;
    result.lens = lensNotExcluded;
    const auto excludeLens = [&result](const ShareableWindow& lens) {
        auto& excluded = result.filter.excludedWindows;
        excluded.insert(excluded.begin(), lens);
        result.lens = lensExcludedByWindow;
    };
    if (lensWindowID_ == 0)
        co_return result;
    if (const auto lens = lensSCWindow(nullptr)) {
        excludeLens(*lens);
        co_return result;
    }
    const auto snapshot = co_await answerOf<std::shared_ptr<const ShareableContent>>(
        services_.executor, [this](ShareableContentSource::Answer answer) {
            services_.shareableContent.fetch({}, std::move(answer));
        });
    if (const auto lens = lensSCWindow(snapshot.get())) {
        excludeLens(*lens);
    } else if (snapshot) {
        const int ownPid = services_.applications.ownPid();
        auto& applications = result.filter.includingApplications.emplace();
        std::ranges::copy_if(
            snapshot->applications, std::back_inserter(applications),
            [ownPid](const ShareableApplication& app) { return app.pid != ownPid; });
        result.lens = lensExcludedByApplication;
        services_.log.log("capture", "lente non in elenco -> escludo l'app intera dalla cattura "
                                     "(percorso macOS 14)");
    } else {
        services_.log.log("capture",
                          "!! SCShareableContent non disponibile: nessuna esclusione della lente");
    }
    co_return result;
}

std::optional<ShareableWindow> WindowCapture::lensSCWindow(const ShareableContent* snapshot) {
    const std::uint32_t windowID = lensWindowID_;
    if (windowID == 0)
        return std::nullopt;
    if (cachedLensWindow_ && cachedLensWindow_->windowID == windowID)
        return cachedLensWindow_;
    if (snapshot == nullptr)
        return std::nullopt;
    const auto found = std::ranges::find(snapshot->windows, windowID, &ShareableWindow::windowID);
    cachedLensWindow_.reset();
    if (found != snapshot->windows.end())
        cachedLensWindow_ = *found;
    return cachedLensWindow_;
}

void WindowCapture::logStarted(const CaptureTarget& target,
                               const CaptureConfiguration& configuration, double scale,
                               std::string_view lens) {
    services_.log.log("capture", "STARTED (display region) '" + target.title + "' [" +
                                     target.appName + "] cgFrame=" + rs(target.cgFrame) +
                                     " srcRect=" + rs(configuration.sourceRect) +
                                     " scale=" + text::fixed(scale, 3) +
                                     " px=" + std::to_string(configuration.width) + "x" +
                                     std::to_string(configuration.height) +
                                     " occluders=" + std::to_string(target.excludeWindows.size()) +
                                     " lens=" + std::string(lens));
}

void WindowCapture::logStartFailed(const std::string& error) {
    services_.log.log("capture", "!! startCapture failed: " + error);
}

// Frames

void WindowCapture::didOutputSample(const CaptureSample& sample) {
    if (!sample.surface || sample.status == SampleStatus::blank ||
        sample.status == SampleStatus::suspended)
        return;
    PendingFrame frame{sample.surface,
                       {static_cast<double>(sample.width), static_cast<double>(sample.height)},
                       {}};
    bool wasScheduled = false;
    {
        const std::lock_guard lock(frameLock_);
        if (currentTarget_)
            frame.frame = currentTarget_->cgFrame;
        // The frame that was waiting leaves in `frame`, and is let go of without the lock.
        std::swap(pending_, frame);
        wasScheduled = std::exchange(deliverScheduled_, true);
    }
    if (wasScheduled)
        return;
    services_.mainQueue.post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->deliverLatest();
    });
}

void WindowCapture::deliverLatest() {
    PendingFrame frame;
    std::shared_ptr<const Surface> previous;
    {
        const std::lock_guard lock(frameLock_);
        std::swap(frame, pending_);
        deliverScheduled_ = false;
        if (frame.surface)
            previous = std::exchange(displayedBuffer_, frame.surface);
    }
    if (!frame.surface)
        return;
    previous.reset();
    ++deliveredCount_;
    // A copy: whoever is called may set another.
    if (const OnFrame onFrame = onFrame_)
        onFrame(frame.surface, frame.pixelSize, frame.frame);
}

void WindowCapture::clearPending() {
    PendingFrame dropped;
    const std::lock_guard lock(frameLock_);
    std::swap(dropped, pending_);
    deliverScheduled_ = false;
}

void WindowCapture::forgetDisplayed() {
    std::shared_ptr<const Surface> displayed;
    const std::lock_guard lock(frameLock_);
    displayed.swap(displayedBuffer_);
}

} // namespace lentora
