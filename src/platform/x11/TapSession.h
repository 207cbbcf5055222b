// One run of the event tap: the connection, what it observes, and the loop that works it off.
#pragma once

#include "platform/EventTap.h"
#include "platform/x11/Connection.h"
#include "platform/x11/FakeInput.h"
#include "platform/x11/KeyboardMap.h"
#include "platform/x11/ModifierTracker.h"
#include "platform/x11/PassiveGrabs.h"
#include "platform/x11/PlainClicks.h"
#include "platform/x11/X11EventTap.h"
#include "support/Log.h"

#include <xcb/xcbext.h>
#include <xcb/xinput.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lentora::x11 {

/// The tap's thread.
class TapSession {
public:
    enum class End { stopped, serverLost };

    /// Connects and selects the events. Nothing, with a line in the log, when input cannot be
    /// observed at all; what is missing beside that is logged, too.
    static std::unique_ptr<TapSession> open(const X11EventTapOptions& options, Log& log,
                                            std::weak_ptr<EventTapClient> client);

    /// Reports to the client until `stopping`, the client's end, or the server's. `wake` becomes
    /// readable when there is something to look at beside the server.
    End run(int wake, const std::atomic<bool>& stopping);

private:
    using Clock = std::chrono::steady_clock;

    TapSession(std::unique_ptr<Connection> connection, Connection::Extension xinput,
               std::uint16_t xinputMinor, KeyboardMap map, const X11EventTapOptions& options,
               Log& log, std::weak_ptr<EventTapClient> client);

    void report(std::string_view message) { log_.log("input", message); }
    void selectEvents();
    void takeInitialKeys();
    void updateTouchpads();

    bool deliver(InputEvent event);
    bool deliverFlags();
    void followInterest();
    void reportRefused();

    void dispatch(const xcb_generic_event_t& event);
    void dispatchInput(const xcb_ge_generic_event_t& event);
    void rawKey(const xcb_input_raw_key_press_event_t& event, bool down);
    void maskGate();
    void rawButton(const xcb_input_raw_button_press_event_t& event, bool down);
    void grabbedKey(const xcb_input_key_press_event_t& event);
    void grabbedButton(const xcb_input_button_press_event_t& event);
    void pinch(const xcb_input_gesture_pinch_begin_event_t& event, GesturePhase phase);

    void reloadMap();
    void askForKeys();
    void takeKeys();
    void wait(int wake);
    bool dispatchQueued();
    void finishWithServer();

    const std::unique_ptr<Connection> connection_;
    const Connection::Extension xinput_;
    const bool hasGestures_;
    const WheelZoom wheelZoom_;
    const std::function<void()> idle_;
    Log& log_;
    const std::weak_ptr<EventTapClient> client_;

    KeyboardMap map_;
    ModifierTracker modifiers_;
    PassiveGrabs grabs_;
    std::optional<FakeInput> fakes_;
    std::optional<PlainClicks> plainClicks_;
    // The gate key that is held is no longer the only key that applications have seen.
    bool gateIsMasked_ = false;
    SwallowInterest interest_;
    bool grabsAreStale_ = true;
    bool hasTouchpad_ = false;
    bool mapIsStale_ = false;
    bool devicesAreStale_ = false;
    bool retryIsDue_ = false;
    double pinchScale_ = 1;

    // The check for modifiers whose release was missed.
    Clock::time_point lastKeyCheck_;
    std::optional<xcb_query_keymap_cookie_t> keysAsked_;
    bool keysChangedSinceAsked_ = false;
};

} // namespace lentora::x11
