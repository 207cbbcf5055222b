#include "platform/x11/TapSession.h"

#include "platform/x11/InputDevices.h"
#include "platform/x11/XInput.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace lentora::x11 {

namespace {

using namespace std::chrono_literals;

// How often the server is asked which keys are down while we believe that a modifier is.
constexpr auto keyCheckInterval = 500ms;

// What one notch of the wheel magnifies, as a part of the size.
constexpr double wheelNotch = 0.08;

std::uint8_t typeOf(const xcb_generic_event_t& event) {
    return event.response_type & 0x7F;
}

} // namespace

std::unique_ptr<TapSession> TapSession::open(const X11EventTapOptions& options, Log& log,
                                             std::weak_ptr<EventTapClient> client) {
    std::string error;
    auto connection = Connection::open(options.display, error);
    if (!connection) {
        log.log("input", "!! " + error);
        return nullptr;
    }
    const auto xinput = connection->extension(xcb_input_id);
    std::uint16_t minor = 0;
    std::uint16_t major = 0;
    if (xinput) {
        const XcbPtr<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
            connection->get(),
            xcb_input_xi_query_version(connection->get(), xi::majorVersion,
                                       xi::gestureMinorVersion),
            nullptr));
        major = version ? version->major_version : 0;
        minor = version ? version->minor_version : 0;
    }
    const auto map = xi::isEnough(major, minor) ? KeyboardMap::read(*connection) : std::nullopt;
    if (!map) {
        log.log("input", "!! the X server has no XInput 2.1 -> keys and pinches cannot be seen");
        return nullptr;
    }
    return std::unique_ptr<TapSession>(new TapSession(std::move(connection), *xinput, minor, *map,
                                                      options, log, std::move(client)));
}

TapSession::TapSession(std::unique_ptr<Connection> connection, Connection::Extension xinput,
                       std::uint16_t xinputMinor, KeyboardMap map,
                       const X11EventTapOptions& options, Log& log,
                       std::weak_ptr<EventTapClient> client)
    : connection_(std::move(connection)), xinput_(xinput),
      hasGestures_(xinputMinor >= xi::gestureMinorVersion), wheelZoom_(options.wheelZoom),
      idle_(options.idle), log_(log), client_(std::move(client)), map_(map),
      grabs_(*connection_, hasGestures_), fakes_(FakeInput::open(*connection_)) {
    if (!hasGestures_) {
        report("!! the X server has XInput 2." + std::to_string(xinputMinor) +
               ", touchpad pinches need 2.4 -> only the wheel and the shortcut open a lens");
    }
    if (fakes_)
        plainClicks_.emplace(*connection_, *fakes_);
    else
        report("!! the X server has no XTEST -> clicks under an open lens keep the modifier");
    selectEvents();
    updateTouchpads();
    followInterest();
    // Its answer tells that the server has the grabs, too.
    takeInitialKeys();
}

void TapSession::selectEvents() {
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } masters{{xi::allMasterDevices, 1},
              xi::maskOf(XCB_INPUT_RAW_KEY_PRESS) | xi::maskOf(XCB_INPUT_RAW_KEY_RELEASE) |
                  xi::maskOf(XCB_INPUT_RAW_BUTTON_PRESS) |
                  xi::maskOf(XCB_INPUT_RAW_BUTTON_RELEASE)},
        all{{xi::allDevices, 1}, xi::maskOf(XCB_INPUT_HIERARCHY)};
    xcb_input_xi_select_events(connection_->get(), connection_->root(), 1, &masters.head);
    xcb_input_xi_select_events(connection_->get(), connection_->root(), 1, &all.head);
}

void TapSession::updateTouchpads() {
    devicesAreStale_ = false;
    const bool had =
        std::exchange(hasTouchpad_, hasGestures_ && anyDeviceReportsPinches(*connection_));
    if (!hasTouchpad_ && wheelZoom_ == WheelZoom::automatic && (had || grabsAreStale_))
        report("no touchpad reports pinches -> hold the gate and turn the wheel");
    grabsAreStale_ = true;
}

TapSession::End TapSession::run(int wake, const std::atomic<bool>& stopping) {
    while (!stopping && !client_.expired()) {
        if (connection_->isLost())
            return End::serverLost;
        if (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection_->get())}) {
            dispatch(*event);
            followInterest();
            continue;
        }
        // Nothing waits: the moment for what costs a round trip.
        if (mapIsStale_)
            reloadMap();
        if (devicesAreStale_)
            updateTouchpads();
        if (std::exchange(retryIsDue_, false))
            grabs_.retryRefused();
        takeKeys();
        followInterest();
        reportRefused();
        askForKeys();
        wait(wake);
    }
    return End::stopped;
}

void TapSession::wait(int wake) {
    xcb_flush(connection_->get());
    if (idle_)
        finishWithServer();
    // Replies bring events with them, which then wait in memory and not in the socket.
    if (dispatchQueued())
        return;
    if (idle_)
        idle_();
    std::array<pollfd, 2> sources{{{connection_->fileDescriptor(), POLLIN, 0}, {wake, POLLIN, 0}}};
    const bool mayMissRelease = modifiers_.isAnyDown();
    const int timeout = mayMissRelease ? static_cast<int>(keyCheckInterval / 1ms) : -1;
    ::poll(sources.data(), sources.size(), timeout);
    if ((sources[1].revents & POLLIN) != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = ::read(wake, &count, sizeof count);
    }
}

// Whether there was anything.
bool TapSession::dispatchQueued() {
    bool any = false;
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_queued_event(connection_->get())}) {
        dispatch(*event);
        followInterest();
        any = true;
    }
    return any;
}

// Returns when the server has carried out what was sent; the events before that are queued.
void TapSession::finishWithServer() {
    const XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
        connection_->get(), xcb_get_input_focus(connection_->get()), nullptr));
}

// What the client is told and asked

bool TapSession::deliver(InputEvent event) {
    const auto client = client_.lock();
    return client && client->handle(event);
}

bool TapSession::deliverFlags() {
    return deliver({.type = EventType::flagsChanged, .flags = modifiers_.flags(map_)});
}

void TapSession::followInterest() {
    const auto client = client_.lock();
    if (!client)
        return;
    SwallowInterest interest = client->swallowInterest();
    if (interest == interest_ && !grabsAreStale_)
        return;
    interest_ = std::move(interest);
    grabsAreStale_ = false;
    const bool wheelZooms =
        wheelZoom_ == WheelZoom::on || (wheelZoom_ == WheelZoom::automatic && !hasTouchpad_);
    grabs_.install(planGrabs(interest_, map_, wheelZooms));
    xcb_flush(connection_->get());
}

void TapSession::reportRefused() {
    bool shortcut = false;
    bool other = false;
    for (const Grab& grab : grabs_.takeRefused())
        (grab.isShortcut ? shortcut : other) = true;
    if (shortcut && interest_.shortcut) {
        report("!! another program has the shortcut " + interest_.shortcut->display() +
               " -> choose another one, or quit that program");
    }
    if (other)
        report(
            "!! another program has grabbed pinches, clicks or Escape -> it may get some of them");
}

// Events

void TapSession::dispatch(const xcb_generic_event_t& event) {
    switch (typeOf(event)) {
    case XCB_GE_GENERIC: {
        const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        if (generic.extension == xinput_.majorOpcode)
            dispatchInput(generic);
        return;
    }
    case XCB_MAPPING_NOTIFY: {
        const auto& mapping = reinterpret_cast<const xcb_mapping_notify_event_t&>(event);
        mapIsStale_ = mapIsStale_ || mapping.request != XCB_MAPPING_POINTER;
        return;
    }
    case 0:
        grabs_.sawError(reinterpret_cast<const xcb_generic_error_t&>(event));
        return;
    default:
        return;
    }
}

void TapSession::dispatchInput(const xcb_ge_generic_event_t& event) {
    switch (event.event_type) {
    case XCB_INPUT_RAW_KEY_PRESS:
    case XCB_INPUT_RAW_KEY_RELEASE:
        return rawKey(reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event),
                      event.event_type == XCB_INPUT_RAW_KEY_PRESS);
    case XCB_INPUT_RAW_BUTTON_PRESS:
    case XCB_INPUT_RAW_BUTTON_RELEASE:
        return rawButton(reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event),
                         event.event_type == XCB_INPUT_RAW_BUTTON_PRESS);
    case XCB_INPUT_KEY_PRESS:
        return grabbedKey(reinterpret_cast<const xcb_input_key_press_event_t&>(event));
    case XCB_INPUT_BUTTON_PRESS:
        return grabbedButton(reinterpret_cast<const xcb_input_button_press_event_t&>(event));
    case XCB_INPUT_GESTURE_PINCH_BEGIN:
        pinchScale_ = 1;
        return pinch(reinterpret_cast<const xcb_input_gesture_pinch_begin_event_t&>(event),
                     GesturePhase::began);
    case XCB_INPUT_GESTURE_PINCH_UPDATE:
        return pinch(reinterpret_cast<const xcb_input_gesture_pinch_begin_event_t&>(event),
                     GesturePhase::changed);
    case XCB_INPUT_GESTURE_PINCH_END: {
        const auto& end = reinterpret_cast<const xcb_input_gesture_pinch_begin_event_t&>(event);
        return pinch(end, (end.flags & xi::pinchCancelled) != 0 ? GesturePhase::cancelled
                                                                : GesturePhase::ended);
    }
    case XCB_INPUT_HIERARCHY:
        devicesAreStale_ = true;
        return;
    default:
        return;
    }
}

void TapSession::rawKey(const xcb_input_raw_key_press_event_t& event, bool down) {
    const auto keycode = static_cast<xcb_keycode_t>(event.detail);
    if (fakes_) {
        const FakeInput::Change change{event.detail, event.sourceid, down};
        if (fakes_->sawKey(change, event.full_sequence))
            return;
        plainClicks_->sawKey(change);
    }
    keysChangedSinceAsked_ = true;
    // The keyboard that this key is on may have a map of its own, which the server has just put in
    // place: with the old one the key would mean something else.
    if (mapIsStale_)
        reloadMap();
    modifiers_.keyChanged(keycode, down, map_);
    if (map_.modifierFlags(keycode) != 0) {
        // A shortcut may follow, and the program that had it may be gone by now.
        retryIsDue_ = retryIsDue_ || down;
        gateIsMasked_ = gateIsMasked_ && !down;
        deliverFlags();
        return;
    }
    const auto code = map_.coreKeyCode(keycode);
    if (!code)
        return;
    const EventFlags flags = modifiers_.flags(map_);
    // The shortcut counts when its grab brings it: where another program has it, that program acts.
    if (down && interest_.shortcut && interest_.shortcut->matches(*code, flags))
        return;
    deliver(
        {.type = down ? EventType::keyDown : EventType::keyUp, .flags = flags, .keyCode = *code});
}

void TapSession::grabbedKey(const xcb_input_key_press_event_t& event) {
    const auto code = map_.coreKeyCode(static_cast<xcb_keycode_t>(event.detail));
    const EventFlags flags = modifiers_.flags(map_);
    if (code && interest_.shortcut && interest_.shortcut->matches(*code, flags)) {
        // The server ends the grab with the key's release: its repeats stay here, too.
        deliver({.type = EventType::keyDown,
                 .flags = flags,
                 .keyCode = *code,
                 .isAutorepeat = (event.flags & xi::keyRepeat) != 0});
        return;
    }
    // Escape, which its raw event has reported, or a key pressed while the shortcut is held. The
    // keyboard is the application's again at once.
    xcb_input_xi_ungrab_device(connection_->get(), XCB_CURRENT_TIME, event.deviceid);
    xcb_flush(connection_->get());
}

// An application that sees the gate key go down and up with nothing between opens its menu, and
// some desktops open theirs. Between the two, it gets a key that means nothing.
void TapSession::maskGate() {
    const auto unused = map_.unusedKeycode();
    if (gateIsMasked_ || !fakes_ || !unused || (plainClicks_ && plainClicks_->isUnderWay()))
        return;
    for (std::size_t i = 0; i < modifiers_.down().size(); ++i) {
        const auto keycode = static_cast<xcb_keycode_t>(i);
        const auto device = fakes_->deviceOfKey(keycode);
        if (!modifiers_.down().test(i) || device == 0 ||
            !isHeld(interest_.gate, map_.modifierFlags(keycode)))
            continue;
        fakes_->key({*unused, device, true});
        fakes_->key({*unused, device, false});
        xcb_flush(connection_->get());
        gateIsMasked_ = true;
        return;
    }
}

void TapSession::rawButton(const xcb_input_raw_button_press_event_t& event, bool down) {
    if (!fakes_)
        return;
    const FakeInput::Change change{event.detail, event.sourceid, down};
    if (!fakes_->sawButton(change, event.full_sequence))
        plainClicks_->sawButton(change);
}

void TapSession::grabbedButton(const xcb_input_button_press_event_t& event) {
    const EventFlags flags = modifiers_.flags(map_);
    if (event.detail == wheelUp || event.detail == wheelDown) {
        maskGate();
        deliver({.type = EventType::magnify,
                 .flags = flags,
                 .magnification = event.detail == wheelUp ? wheelNotch : -wheelNotch});
        return;
    }
    InputEvent click{.type = event.detail == leftButton ? EventType::leftMouseDown
                                                        : EventType::rightMouseDown,
                     .flags = flags};
    if (const auto client = client_.lock())
        client->handle(click);
    if (plainClicks_)
        plainClicks_->passOn(event, flags & ~click.flags, modifiers_, map_, grabs_);
    else
        xcb_input_xi_ungrab_device(connection_->get(), XCB_CURRENT_TIME, event.deviceid);
    xcb_flush(connection_->get());
}

void TapSession::pinch(const xcb_input_gesture_pinch_begin_event_t& event, GesturePhase phase) {
    // The server tells the size of the pinch against its begin, the client wants the steps.
    const double scale = xi::toDouble(event.scale);
    const double step = scale - std::exchange(pinchScale_, scale);
    maskGate();
    deliver({.type = EventType::magnify,
             .flags = modifiers_.flags(map_),
             .magnification = step,
             .phase = phase});
}

// The keyboard

void TapSession::reloadMap() {
    mapIsStale_ = false;
    const auto map = KeyboardMap::read(*connection_);
    if (!map)
        return;
    const EventFlags before = modifiers_.flags(map_);
    map_ = *map;
    grabsAreStale_ = true;
    if (modifiers_.flags(map_) != before)
        deliverFlags();
}

void TapSession::takeInitialKeys() {
    const XcbPtr<xcb_query_keymap_reply_t> reply(
        xcb_query_keymap_reply(connection_->get(), xcb_query_keymap(connection_->get()), nullptr));
    if (!reply)
        return;
    modifiers_.keysAre(reply->keys, map_);
    if (modifiers_.isAnyDown())
        deliverFlags();
}

void TapSession::askForKeys() {
    const auto now = Clock::now();
    if (!modifiers_.isAnyDown() || keysAsked_ || now - lastKeyCheck_ < keyCheckInterval)
        return;
    // A key let go of for a click is up for the server, whenever its answer is looked at.
    if (plainClicks_ && plainClicks_->isUnderWay())
        return;
    lastKeyCheck_ = now;
    keysChangedSinceAsked_ = false;
    keysAsked_ = xcb_query_keymap(connection_->get());
}

// The answer holds for the moment it was given; a key that changed around it makes it worthless.
void TapSession::takeKeys() {
    if (!keysAsked_)
        return;
    void* answer = nullptr;
    xcb_generic_error_t* failure = nullptr;
    if (xcb_poll_for_reply(connection_->get(), keysAsked_->sequence, &answer, &failure) == 0)
        return;
    keysAsked_.reset();
    const XcbPtr<xcb_query_keymap_reply_t> reply(static_cast<xcb_query_keymap_reply_t*>(answer));
    const XcbPtr<xcb_generic_error_t> error(failure);
    dispatchQueued();
    if (!reply || keysChangedSinceAsked_ || (plainClicks_ && plainClicks_->isUnderWay()))
        return;
    const EventFlags before = modifiers_.flags(map_);
    modifiers_.keysAre(reply->keys, map_);
    if (modifiers_.flags(map_) != before)
        deliverFlags();
}

} // namespace lentora::x11
