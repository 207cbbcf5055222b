// One run of a stream: follows the windows, and draws and delivers frames.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/posix/WakeEvent.h"
#include "platform/x11/CaptureServer.h"
#include "platform/x11/CapturedWindow.h"
#include "platform/x11/ComposedRegion.h"
#include "platform/x11/DrawingCounter.h"
#include "platform/x11/MessageQueue.h"
#include "platform/x11/RootBackground.h"
#include "platform/x11/ScreenSpace.h"
#include "platform/x11/SurfacePool.h"
#include "platform/x11/WindowFilter.h"
#include "platform/x11/WindowStack.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// The capture thread, but for the making.
class CaptureSession {
public:
    struct Setup {
        std::shared_ptr<const CaptureServer> server;
        CaptureFilter filter;
        CaptureConfiguration configuration;
        ScreenSpace space = {};
        WindowFilter::GenerationOf generationOf;
        std::weak_ptr<CaptureOutput> output;
        /// Becomes readable when `stopping` changes.
        std::shared_ptr<const posix::WakeEvent> wake;
        /// One frame is wanted, and it is not tried again.
        bool endsWithLostFrame = false;
    };

    explicit CaptureSession(Setup setup);
    /// What the server keeps for the stream is given back when this returns, but for surfaces
    /// that are held.
    ~CaptureSession();
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;

    enum class End { stopped, serverLost, frameLost };

    /// Calls `started` when all is known that the first frame shows, then delivers frames until
    /// `stopping`.
    End run(const std::atomic<bool>& stopping, const std::function<void()>& started);

private:
    using Clock = std::chrono::steady_clock;

    struct Frame {
        std::size_t buffer = 0;
        PixelRegion damage;
        bool isDelivered = false;
        bool hasFailed = false;
    };
    // Goes after everything else: waits until the server has given all back.
    struct Farewell {
        const std::shared_ptr<const CaptureServer> server;
        ~Farewell();
    };
    // A window as it was drawn.
    struct Placed {
        std::uint64_t serial = 0;
        PixelRect bounds;
        unsigned version = 0;

        bool operator==(const Placed&) const = default;
    };

    void begin();
    void takeTree(const xcb_query_tree_reply_t& tree);
    void askPlace(xcb_window_t id);
    void settle(int rounds);

    bool dispatchArrived();
    void dispatch(const xcb_generic_event_t& event);
    void windowDamaged(const xcb_generic_event_t& event);
    CapturedWindow* captured(xcb_window_t id);

    void updateLayers();
    CapturedWindow& watch(const TopLevel& window);
    void damageWhatMoved();
    void addDamage(const PixelRect& onRoot);

    bool isFrameWanted() const;
    bool composeIfDue();
    void deliver(Frame& frame, const DrawingCounter::Moment& drawn);
    void frameDone();
    void wait();

    const Setup setup_;
    const std::shared_ptr<const CaptureServer> server_;
    const Farewell farewell_;
    const PixelRect region_;
    const Clock::duration interval_;

    MessageQueue messages_;
    WindowStack stack_;
    WindowFilter filter_;
    RootBackground background_;
    ComposedRegion composed_;
    const std::shared_ptr<SurfacePool> pool_;
    // Nothing where the server has no such counters.
    std::optional<DrawingCounter> drawing_;

    // By serial. Those that may be seen in the region.
    std::map<std::uint64_t, std::unique_ptr<CapturedWindow>> windows_;
    WindowLayers layers_;
    std::vector<Placed> placed_;
    bool layersAreStale_ = false;
    bool isReady_ = false;

    // Relative to the region: what the next frame has to draw.
    PixelRegion damage_;
    std::optional<Frame> frameInFlight_;
    // The server had no memory for the last one.
    bool hasLostFrame_ = false;
    bool waitsForBuffer_ = false;
    Clock::time_point nextFrame_;
};

} // namespace lentora::x11
