// Raw input, seen before applications see it, with the power to keep an event from them.
#pragma once

#include "input/EventFlags.h"
#include "input/GateModifier.h"
#include "input/HotKey.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace lentora {

enum class EventType : std::uint32_t {
    leftMouseDown = 1,
    leftMouseUp = 2,
    rightMouseDown = 3,
    rightMouseUp = 4,
    leftMouseDragged = 6,
    keyDown = 10,
    keyUp = 11,
    flagsChanged = 12,
    beginGesture = 19,
    endGesture = 20,
    scrollWheel = 22,
    gesture = 29,
    magnify = 30,
    smartMagnify = 32,
    /// Notices about the tap itself: the system switched it off because it answered too late, or
    /// because the user asked for it. It stays off until it is enabled again.
    tapDisabledByTimeout = 0xFFFFFFFE,
    tapDisabledByUserInput = 0xFFFFFFFF,
};

enum class GesturePhase { began, changed, ended, cancelled };

struct InputEvent {
    EventType type = EventType::flagsChanged;
    EventFlags flags = 0;
    /// Key events.
    std::uint16_t keyCode = 0;
    bool isAutorepeat = false;
    /// Magnify events: how much larger the pinch became since the event before it, as a part of
    /// the size at its beginning.
    double magnification = 0;
    GesturePhase phase = GesturePhase::changed;
    /// False for an event that the platform could not make sense of.
    bool isConvertible = true;
};

/// What a client would keep from applications if it happened next. A window system that must be
/// told in advance what to withhold (X11's grabs) keeps itself in step with this.
struct SwallowInterest {
    enum class Pinch {
        never,
        /// While the gate key is held.
        withGate,
        /// Whatever keys are held.
        always,
    };

    Pinch pinch = Pinch::never;
    GateModifier gate = GateModifier::option;
    /// The gate key is held, as far as the client knows.
    bool gateHeld = false;
    /// Clicks lose the bits of the gate's family; they are never swallowed.
    bool plainClicks = false;
    bool escape = false;
    std::optional<HotKey> shortcut;

    bool operator==(const SwallowInterest&) const = default;
};

/// Who a tap reports to. Every operation is called on the tap's own thread, one at a time.
class EventTapClient {
public:
    virtual ~EventTapClient() = default;

    /// The tap is installed and events follow, or could not be installed and none will.
    virtual void tapDidStart(bool installed) = 0;

    /// Answers true to keep the event from applications. May take bits out of `event.flags`: the
    /// application then sees the event without them. Must answer quickly.
    virtual bool handle(InputEvent& event) = 0;

    /// Never waits for long; the answer may change with every event and every call on the client.
    virtual SwallowInterest swallowInterest() const = 0;
};

enum class TapLocation { hid = 0, session = 1 };

class EventTap {
public:
    virtual ~EventTap() = default;

    /// Starts the tap's thread, which installs the tap and reports to `client` until `stop`, or
    /// until the client is gone. Main thread; not while it runs.
    virtual void start(TapLocation location, std::weak_ptr<EventTapClient> client) = 0;

    /// Ends delivery: no call on the client begins after it returns. Everything that the tap held
    /// back from applications is let go. Main thread; no effect when it is not running.
    virtual void stop() = 0;

    /// Switches delivery on again after the system switched it off. Any thread; no effect when
    /// the tap is not running.
    virtual void enable() = 0;

    /// The client's `swallowInterest` may have changed for another reason than an event it
    /// handled. Any thread; does not wait.
    virtual void interestChanged() = 0;
};

} // namespace lentora
