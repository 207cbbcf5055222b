// The default input backend: turns the raw events of an event tap into lens commands. It owns the
// gesture grammar of the program:
//
//   hold the gate and pinch                    a lens opens and follows the pinch
//   let go of the gate                         the lens closes
//   double-press the gate, hold, pinch, let go the lens stays open (locked)
//   on a locked lens: pinch                    changes its zoom, gate held or not
//   on a locked lens: double-press, let go     closes it
//   on a locked lens: double-press, pinch      shows the window then under the pointer
//   on a locked lens: hold Command             freezes it and frees the pointer (detach)
//   Escape, Command+Tab                        close the lens
//   the keyboard shortcut                      is caught and reported
#pragma once

#include "input/GateModifier.h"
#include "input/HotKey.h"
#include "input/InputBackend.h"
#include "platform/Clock.h"
#include "platform/EventTap.h"
#include "platform/Executor.h"
#include "platform/MainQueue.h"
#include "support/Log.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lentora {

class CGEventTapInputBackend final : public InputBackend,
                                     public EventTapClient,
                                     public std::enable_shared_from_this<CGEventTapInputBackend> {
public:
    /// Every one outlives the backend and the work it has queued.
    struct Services {
        EventTap& tap;
        MainQueue& mainQueue;
        BackgroundExecutor& executor;
        const MediaClock& clock;
        Log& log;
    };

    /// The gesture state at one moment, for diagnosis.
    struct Snapshot {
        bool gateActive = false;
        bool engaged = false;
        bool locked = false;
        bool detached = false;
        double cumulative = 0;
    };

    static std::shared_ptr<CGEventTapInputBackend> create(const Services& services,
                                                          TapLocation location);
    ~CGEventTapInputBackend() override;
    CGEventTapInputBackend(const CGEventTapInputBackend&) = delete;
    CGEventTapInputBackend& operator=(const CGEventTapInputBackend&) = delete;

    // Configuration: main thread.

    void setGate(GateModifier gate);

    /// When off, modifier changes, clicks and gestures are ignored; keys are not.
    void setPinchEnabled(bool enabled);

    /// The shortcut to catch; none when the keyboard is not to open a lens.
    void setHotKey(std::optional<HotKey> hotKey);

    /// Called on the main thread when the shortcut goes down, once for each press, and up.
    void setOnHotKeyDown(std::function<void()> onHotKeyDown);
    void setOnHotKeyUp(std::function<void()> onHotKeyUp);

    Snapshot snapshot() const;

    // InputBackend: main thread.
    void setDelegate(std::weak_ptr<InputBackendDelegate> delegate) override;
    std::shared_ptr<InputBackendDelegate> delegate() const override;
    std::string label() const override;
    bool gateActive() const override;
    bool engaged() const override;
    bool isLocked() const override;
    void start() override;
    void stop() override;
    void debugForceEngage() override;
    void debugForceRelease() override;
    void cancelEngage() override;

    // EventTapClient: the tap's thread.
    void tapDidStart(bool installed) override;
    bool handle(InputEvent& event) override;
    SwallowInterest swallowInterest() const override;

private:
    // The gesture state. Times are readings of the media clock, in seconds.
    struct State {
        bool gateActive = false;
        bool engaged = false;
        double cumulativeMag = 0;
        bool hotKeyHeld = false;
        bool physicalDown = false;
        bool locked = false;
        bool commandDown = false;
        bool detached = false;
        bool lastLockSignaled = false;
        bool lastArmingSignaled = false;
        bool willLockOnRelease = false;
        bool reengagePending = false;
        double pinchAtSecondClick = 0;
        double pressDownTime = 0;
        double lastTapUpTime = -1;
        double lastTapDisable = 0;
        int disableStorm = 0;
    };

    CGEventTapInputBackend(const Services& services, TapLocation location);

    // All of these expect the mutex to be held.
    bool handleKeyDown(const InputEvent& event);
    bool handleKeyUp(const InputEvent& event);
    void handleClick(InputEvent& event);
    void handleFlagsChanged(EventFlags flags);
    void gatePressed(double now);
    void gateReleased(double now);
    bool handleMagnify(double magnification);
    void handleTapTimeout();
    void closeFromKey(std::string_view message, ReleaseReason reason);
    void tryEngage();
    void forgetEngagement();
    void settle();
    void updateEffectiveGate();
    void updateDetach();
    void signalLock();
    void signalArming();
    void postHotKeyCallback(const std::function<void()>& callback);
    using Call = std::function<void(InputBackendDelegate&)>;
    void toMain(Call call);
    void callNow(const Call& call);

    const Services services_;
    const TapLocation location_;
    // One tap to a backend: a second start without a stop has no effect. Main thread.
    bool started_ = false;

    // Guards everything below: the tap's thread decides, the main thread configures and cancels.
    // Operations are posted while it is held, so that they are posted in the order decided.
    mutable std::mutex mutex_;
    std::weak_ptr<InputBackendDelegate> delegate_;
    GateModifier gate_ = GateModifier::option;
    bool pinchEnabled_ = true;
    std::optional<HotKey> hotKey_;
    std::function<void()> onHotKeyDown_;
    std::function<void()> onHotKeyUp_;
    State state_;
};

} // namespace lentora
