// The event tap on an X server.
//
// X has no filter that an event passes through on its way. Modifiers and keys are observed as raw
// events, which cost nobody anything, and what must be kept from applications is grabbed: pinches
// with the gate's modifiers, the shortcut, Escape while a lens is open. After every event the
// client says what it would swallow next, and the grabs follow.
#pragma once

#include "platform/EventTap.h"
#include "platform/posix/FileDescriptor.h"
#include "support/Log.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace lentora::x11 {

/// Whether a notch of the wheel with the gate held is a pinch: for people without a touchpad.
enum class WheelZoom {
    /// Where no touchpad reports pinches.
    automatic,
    on,
    off,
};

/// From the names that settings use: "auto", "on", "off".
std::optional<WheelZoom> wheelZoomFromName(std::string_view name);

struct X11EventTapOptions {
    /// ":0"; empty for $DISPLAY.
    std::string display = {};
    WheelZoom wheelZoom = WheelZoom::automatic;
    /// Called on the tap's thread after the client was told that the tap is installed, or that it
    /// could not be.
    std::function<void(bool installed)> started = {};
    /// Called on the tap's thread when the server goes away while the tap runs.
    std::function<void()> serverLost = {};
    /// For programs that have to keep in step with the tap: called on its thread before it waits,
    /// when it has worked off everything and the server has carried out all it sent. Costs a round
    /// trip each time, so none should be set otherwise.
    std::function<void()> idle = {};
};

/// The tap runs on a thread and a connection of its own. It is never disabled by the system, so
/// `enable` has no effect. What the server cannot do is said in the log, once, and the tap goes on
/// with what it can.
class X11EventTap final : public EventTap {
public:
    /// `log` outlives the tap.
    X11EventTap(X11EventTapOptions options, Log& log);
    ~X11EventTap() override;
    X11EventTap(const X11EventTap&) = delete;
    X11EventTap& operator=(const X11EventTap&) = delete;

    void start(TapLocation location, std::weak_ptr<EventTapClient> client) override;
    void stop() override;
    void enable() override {}
    void interestChanged() override;

private:
    void run(const std::weak_ptr<EventTapClient>& client);

    const X11EventTapOptions options_;
    Log& log_;
    // Wakes the thread: the interest changed, or it is to stop.
    const posix::FileDescriptor wake_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

} // namespace lentora::x11
