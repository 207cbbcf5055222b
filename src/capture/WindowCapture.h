// The live picture of one window: the region of the display that it occupies, without what stands
// in front of it and without the lens.
//
// Frames come on the capture stream's queue. The newest one waits for the main thread; one that is
// still waiting when the next comes is dropped, so the main thread never works through a backlog.
#pragma once

#include "capture/CaptureTarget.h"
#include "capture/Geometry.h"
#include "platform/Applications.h"
#include "platform/CaptureStreams.h"
#include "platform/Clock.h"
#include "platform/Displays.h"
#include "platform/Executor.h"
#include "platform/MainQueue.h"
#include "platform/ShareableContent.h"
#include "support/Log.h"
#include "support/Rect.h"
#include "support/Task.h"
#include "support/Turns.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace lentora {

class WindowCapture final : public CaptureOutput,
                            public std::enable_shared_from_this<WindowCapture> {
public:
    /// Every one outlives the capture and the work it has queued.
    struct Services {
        CaptureStreams& streams;
        ShareableContentSource& shareableContent;
        const Displays& displays;
        const Applications& applications;
        const MediaClock& clock;
        BackgroundExecutor& executor;
        MainQueue& mainQueue;
        Log& log;
    };

    /// The frame's pixels, their number, and the frame of the window they show (CG space).
    using OnFrame = std::function<void(const std::shared_ptr<const Surface>& surface,
                                       Size pixelSize, const Rect& frame)>;

    /// On a slow processor the stream delivers at most 30 frames a second, else 60.
    static std::shared_ptr<WindowCapture> create(const Services& services, bool slowProcessor);
    ~WindowCapture() override;
    WindowCapture(const WindowCapture&) = delete;
    WindowCapture& operator=(const WindowCapture&) = delete;

    /// Called on the main thread with every frame that is delivered. The frame just delivered
    /// stays valid until the next one is, or the stream has stopped. Set on the main thread.
    void setOnFrame(OnFrame onFrame);

    /// Stops the stream that runs, if any, and starts one for `target`. A failure is only logged:
    /// then no frames come. Await it on any thread; what follows runs on the background executor.
    /// Starts and stops are carried out one after the other, in the order of the calls.
    Task<void> start(CaptureTarget target);

    /// Stops the stream soon. Does nothing where none runs when its turn comes. Any thread.
    void stop();

    /// What was started last, whether that went well or not. Any thread.
    std::optional<CaptureTarget> currentTarget() const;

    /// How many frames were delivered so far. Main thread.
    std::uint64_t deliveredCount() const { return deliveredCount_; }

    /// The lens's own window, which the picture leaves out; 0 until it was shown. Any thread.
    void setLensWindowID(std::uint32_t windowID) { lensWindowID_ = windowID; }
    std::uint32_t lensWindowID() const { return lensWindowID_; }

    // CaptureOutput: the stream's queue.
    void didOutputSample(const CaptureSample& sample) override;

private:
    // What is left out of the picture, and how the log calls the way the lens is kept out.
    struct Exclusion {
        CaptureFilter filter;
        std::string_view lens;
    };

    struct PendingFrame {
        std::shared_ptr<const Surface> surface;
        Size pixelSize;
        Rect frame;
    };

    WindowCapture(const Services& services, bool slowProcessor);

    // These run on the background executor, in a turn.
    Task<void> startStream(CaptureTarget target);
    Task<void> stopInTurn();
    Task<void> stopAsync();
    Task<Exclusion> exclusionFor(CaptureTarget target);
    std::optional<ShareableWindow> lensSCWindow(const ShareableContent* snapshot);

    CaptureConfiguration configurationFor(const CaptureTarget& target, double scale) const;
    void logStarted(const CaptureTarget& target, const CaptureConfiguration& configuration,
                    double scale, std::string_view lens);
    void logStartFailed(const std::string& error);
    void deliverLatest();
    void clearPending();
    void forgetDisplayed();
    void setCurrentTarget(std::optional<CaptureTarget> target);

    const Services services_;
    const Geometry geometry_;
    const double frameInterval_;
    std::atomic<std::uint32_t> lensWindowID_{0};

    // Main thread.
    OnFrame onFrame_;
    std::uint64_t deliveredCount_ = 0;

    // Only in a turn.
    Turns turns_;
    std::shared_ptr<CaptureStream> stream_;
    std::optional<ShareableWindow> cachedLensWindow_;

    // Guards what follows; held for assignments only.
    mutable std::mutex frameLock_;
    std::optional<CaptureTarget> currentTarget_;
    PendingFrame pending_;
    bool deliverScheduled_ = false;
    // The frame that is on the screen, held so that its pixels stay valid.
    std::shared_ptr<const Surface> displayedBuffer_;
};

} // namespace lentora
