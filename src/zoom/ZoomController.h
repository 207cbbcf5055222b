// The one lens session of the program: when a lens opens, which window it shows, how large, where
// it looks, and when it closes.
//
// | state  | what is on the screen                                             | tick | stream |
// | ------ | ----------------------------------------------------------------- | ---- | ------ |
// | idle   | nothing; for a moment, a lens that fades out, or a notice         | no   | no     |
// | armed  | the badge beside the pointer: a pinch would open a locked lens    | yes  | no     |
// | active | a lens, or soon: its window is being chosen, its stream is started| yes  | yes    |
//
// A stream ends with the fade of its lens, or where the armed state comes before that, with what
// comes after it.
//
// Choosing a window and starting a stream take time, and the user does not wait. So a lens can be
// closed, and the next one asked for, while one of them is under way; what comes of it then is
// dropped. The class is in four files: ZoomController.cpp (what changes the state),
// SessionStart.cpp (from the pinch to the stream), ArmedState.cpp and FrameLoop.cpp (what happens
// at every refresh).
#pragma once

#include "capture/CaptureTarget.h"
#include "capture/Geometry.h"
#include "capture/WindowCapture.h"
#include "capture/WindowTarget.h"
#include "input/InputBackend.h"
#include "platform/Clock.h"
#include "platform/DisplayLink.h"
#include "platform/Displays.h"
#include "platform/MainQueue.h"
#include "platform/Panel.h"
#include "platform/Permissions.h"
#include "platform/Screenshots.h"
#include "platform/ShareableContent.h"
#include "platform/TextMeasurer.h"
#include "support/Log.h"
#include "support/Rect.h"
#include "support/StringTable.h"
#include "support/Task.h"
#include "zoom/LensOverlay.h"
#include "zoom/ZoomLaw.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lentora {

enum class SessionState { idle, armed, active };

/// The name of the case.
std::string_view toString(SessionState state);

/// Main thread.
class ZoomController final : public InputBackendDelegate,
                             public std::enable_shared_from_this<ZoomController> {
public:
    /// All of it outlives the controller and the work it has queued.
    struct Services {
        std::shared_ptr<WindowTarget> windowTarget;
        std::shared_ptr<WindowCapture> capture;
        Panels& panels;
        DisplayLinks& displayLinks;
        const Displays& displays;
        const Pointer& pointer;
        const Permissions& permissions;
        const TextMeasurer& textMeasurer;
        ShareableContentSource& shareableContent;
        Screenshots& screenshots;
        const MediaClock& clock;
        MainQueue& mainQueue;
        Log& log;
        const StringTable& strings;
    };

    /// The session at one moment, for diagnosis. Rectangles and points are points on the display
    /// that the lens is on, origin at its bottom-left corner, y up.
    struct Snapshot {
        SessionState state = SessionState::idle;
        double targetZoom = 0;
        double displayedZoom = 0;
        double belowFloorAccum = 0;
        bool sessionLocked = false;
        bool detachActive = false;
        bool engageInFlight = false;
        bool isKeyboardSession = false;
        bool badgeShown = false;
        std::uint32_t sessionWindowID = 0;
        Rect sessionWindowRect;
        /// From the window's bottom-left corner.
        Point lastFocus;
        /// Cocoa space.
        Point sessionScreenOrigin;
    };

    static std::shared_ptr<ZoomController> create(Services services);
    ~ZoomController() override;
    ZoomController(const ZoomController&) = delete;
    ZoomController& operator=(const ZoomController&) = delete;

    // What the shell sets. All zoom factors are plain ratios.

    /// What a lens opens at if the pinch does not decide, and one opened from the keyboard in any
    /// case.
    double fixedZoom = 2;
    /// Whether the pinch decides what a lens opens at.
    bool continuousZoom = false;
    /// The upper bound of every zoom.
    double maxZoom = 2.5;
    /// The gate as the user knows it.
    std::string gateName = "Option";
    /// The current backend. It is asked whether it is locked and told when an engage came to
    /// nothing.
    std::weak_ptr<InputBackend> inputBackend;
    /// A session or the armed state ended, or an attempt to open a lens did. May be empty.
    std::function<void()> onSessionEnded;

    // What the shell calls.

    /// Opens a lens at the fixed zoom, without a pinch. Nothing unless idle.
    void keyboardOpen();

    /// Whether the lens stays open when the shortcut is let go of. Nothing unless active.
    void keyboardSetLocked(bool locked);

    /// Ends whatever there is. The lens fades out.
    void closeSession();

    SessionState state() const { return state_; }
    Snapshot snapshot() const;
    const LensOverlay& overlay() const { return overlay_; }

    // InputBackendDelegate.
    void inputDidEngage(double magnitude) override;
    void inputDidUpdatePinch(double cumulative) override;
    void inputDidRelease(ReleaseReason reason) override;
    void inputGateChanged(bool active) override;
    void inputLockChanged(bool locked) override;
    void inputDetach(bool active) override;
    void inputDidRequestRetarget(double magnitude) override;
    void inputArmingChanged(bool armed) override;

private:
    explicit ZoomController(Services services);

    // What changes the state.
    bool passesEngageGate();
    void startSession(double initial);
    void autoCloseLockedAtFloor();
    void teardown();
    void endSession();
    void sessionEnded() const;
    void setLocked(bool locked, std::string_view message);
    void cancelBackendEngage() const;
    void syncBadge();

    // From the pinch to the stream. The static ones begin as work of their own on the main queue
    // and keep the controller until they are over.
    static Task<void> runPinchEngage(std::shared_ptr<ZoomController> self, Point cursor);
    static Task<void> runKeyboardEngage(std::shared_ptr<ZoomController> self, Point cursor);
    static Task<void> runRetarget(std::shared_ptr<ZoomController> self, std::uint32_t previous,
                                  Point cursor);
    Task<void> engage(Point cursor);
    Task<void> retarget(std::uint32_t previous, Point cursor);
    Task<void> applyTarget(CaptureTarget target, Point cursor);
    Task<WindowTarget::Result> windowUnderCursor();
    void engageFailed(WindowTargetError error);
    void placeLens(const CaptureTarget& target, Point cursor);
    void presentOverlay(const Screen& screen);
    void warnMissingScreenRecording();
    void showNotice(std::string_view titleKey, std::string_view bodyKey);

    // The armed state.
    void enterArmed();
    void disarm();
    void tickArmed();

    // What happens at every refresh.
    void startTick();
    void stopTick();
    void onTick(const Refresh& refresh);
    void rest(Point cursor);
    void wake();
    void tickActive(double timestamp);
    void handleLiveFrame(const std::shared_ptr<const Surface>& surface);
    void updatePanel();

    void log(std::string_view message) { services_.log.log("zoom", message); }
    double now() const { return services_.clock.now(); }
    Point pointer() const { return services_.pointer.location(); }

    const Services services_;
    const Geometry geometry_;
    LensOverlay overlay_;

    SessionState state_ = SessionState::idle;
    bool sessionLocked_ = false;
    bool isKeyboardSession_ = false;
    // Frozen in place: neither pointer nor pinch move it.
    bool detachActive_ = false;
    std::string sessionCommands_;

    // Where the zoom is heading, and what is shown on the way there.
    double targetZoom_ = 2;
    double displayedZoom_ = 1;
    zoom::PinchChange pinch_;
    zoom::FloorOvershoot belowFloor_;

    // The window that is shown; see `Snapshot`. The number is 0 while there is none.
    std::uint32_t sessionWindowID_ = 0;
    Rect sessionWindowRect_{0, 0, 0, 0};
    Point sessionScreenOrigin_;
    Point lastFocus_;

    // Attempts to open a lens; times are readings of the media clock, 0 for never.
    bool engageInFlight_ = false;
    double engageStartTime_ = 0;
    bool firstFrameLogged_ = false;
    double lastEngageFailTime_ = 0;
    double lastScreenWarnTime_ = 0;

    // The beat that runs, and when it last came; 0 before its first.
    std::unique_ptr<DisplayLink> displayLink_;
    double lastTick_ = 0;
    // Where the pointer was at the last beat.
    std::optional<Point> lastCursor_;
    // What the hint card says, in percent; nothing when it has to be written anew.
    std::optional<int> lastShownPercent_;
};

} // namespace lentora
