#include "platform/x11/RefreshSession.h"

#include "platform/x11/ProtocolNumbers.h"
#include "platform/x11/XInput.h"

#include <xcb/present.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lentora::x11 {

RefreshSession::RefreshSession(std::unique_ptr<Connection> connection,
                               X11DisplayLinksOptions options, const DisplayLinkServices& services)
    : connection_(std::move(connection)), options_(std::move(options)), services_(services) {
    agree(options_.withoutPresent);
    watch_ = services_.watches.watch(connection_->fileDescriptor(), [this] { readArrived(); });
}

void RefreshSession::agree(bool withoutPresent) {
    xcb_connection_t* const c = connection_->get();
    const auto present = connection_->extension(xcb_present_id);
    if (present && !withoutPresent) {
        const XcbPtr<xcb_present_query_version_reply_t> version(
            xcb_present_query_version_reply(c, xcb_present_query_version(c, 1, 0), nullptr));
        if (version)
            presentOpcode_ = present->majorOpcode;
    }
    const auto input = connection_->extension(xcb_input_id);
    if (!input)
        return;
    const XcbPtr<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        c, xcb_input_xi_query_version(c, xi::majorVersion, xi::gestureMinorVersion), nullptr));
    // Before 2.2 there are no raw events of touches.
    if (!version || !xi::isEnough(version->major_version, version->minor_version))
        return;
    inputOpcode_ = input->majorOpcode;
    pointerEvents_ = xi::maskOf(XCB_INPUT_RAW_MOTION);
    if (version->minor_version >= 2)
        pointerEvents_ |=
            xi::maskOf(XCB_INPUT_RAW_TOUCH_BEGIN) | xi::maskOf(XCB_INPUT_RAW_TOUCH_UPDATE);
}

xcb_window_t RefreshSession::add(RefreshListener& listener, const PixelRect& display) {
    xcb_connection_t* const c = connection_->get();
    const xcb_window_t window = xcb_generate_id(c);
    const std::uint32_t overrideRedirect = 1;
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, connection_->root(), s16(display.x),
                      s16(display.y), side(display.width), side(display.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                      &overrideRedirect);
    if (hasPresent())
        xcb_present_select_input(c, xcb_generate_id(c), window,
                                 XCB_PRESENT_EVENT_MASK_COMPLETE_NOTIFY);
    entries_.push_back({window, &listener, false});
    return window;
}

void RefreshSession::move(xcb_window_t window, const PixelRect& display) {
    const std::uint32_t values[] = {static_cast<std::uint32_t>(s16(display.x)),
                                    static_cast<std::uint32_t>(s16(display.y)), side(display.width),
                                    side(display.height)};
    xcb_configure_window(connection_->get(), window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         values);
}

void RefreshSession::remove(xcb_window_t window) {
    listenToPointer(window, false);
    std::erase_if(entries_, [&](const Entry& entry) { return entry.window == window; });
    xcb_destroy_window(connection_->get(), window);
    send();
}

void RefreshSession::askForRefreshAfter(xcb_window_t window, std::uint64_t count) {
    // Of a refresh that has passed, the server makes the next one.
    constexpr std::uint64_t everyOne = 1;
    xcb_present_notify_msc(connection_->get(), window, 0, count + 1, everyOne, 0);
}

bool RefreshSession::listenToPointer(xcb_window_t window, bool listens) {
    Entry* const changed = find(window);
    if (inputOpcode_ == 0 || changed == nullptr)
        return false;
    const auto anyListens = [&] { return std::ranges::any_of(entries_, &Entry::listensToPointer); };
    const bool before = anyListens();
    changed->listensToPointer = listens;
    if (anyListens() == before)
        return true;
    struct {
        xcb_input_event_mask_t header{xi::allMasterDevices, 1};
        std::uint32_t mask = 0;
    } selection;
    if (listens)
        selection.mask = pointerEvents_;
    xcb_input_xi_select_events(connection_->get(), connection_->root(), 1, &selection.header);
    return true;
}

void RefreshSession::send() {
    if (isHandling_)
        return;
    xcb_flush(connection_->get());
    // Writing reads as well, and the descriptor does not tell of what was read then.
    services_.mainQueue.post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->readArrived();
    });
}

void RefreshSession::readArrived() {
    const auto self = shared_from_this();
    if (std::exchange(isHandling_, true))
        return;
    xcb_connection_t* const c = connection_->get();
    XcbPtr<xcb_generic_event_t> event(xcb_poll_for_event(c));
    while (event) {
        dispatch(*event);
        event.reset(xcb_poll_for_queued_event(c));
        if (!event) {
            xcb_flush(c);
            event.reset(xcb_poll_for_event(c));
        }
    }
    isHandling_ = false;
    if (!connection_->isLost())
        return;
    // The descriptor would be readable for ever. This may run in the watch itself.
    services_.mainQueue.post([weak = weak_from_this()] {
        if (const auto held = weak.lock())
            held->watch_.reset();
    });
}

void RefreshSession::dispatch(const xcb_generic_event_t& event) {
    // Errors are of what has gone in the meantime. Events that others sent may say anything.
    if (event.response_type != XCB_GE_GENERIC)
        return;
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if (hasPresent() && generic.extension == presentOpcode_ &&
        generic.event_type == XCB_PRESENT_COMPLETE_NOTIFY) {
        const auto& complete = reinterpret_cast<const xcb_present_complete_notify_event_t&>(event);
        return refreshed(complete.window, complete.ust, complete.msc);
    }
    if (inputOpcode_ != 0 && generic.extension == inputOpcode_ &&
        (pointerEvents_ & xi::maskOf(generic.event_type)) != 0)
        pointerMoved();
}

void RefreshSession::refreshed(xcb_window_t window, std::uint64_t microseconds,
                               std::uint64_t count) {
    ++refreshesTold_;
    // The server's time is the media clock's where both are on one machine.
    constexpr double likely = 0.1;
    const double now = services_.clock.now();
    const double told = static_cast<double>(microseconds) * 1e-6;
    if (const Entry* entry = find(window))
        entry->listener->monitorRefreshed(std::abs(told - now) < likely ? told : now, count);
}

void RefreshSession::pointerMoved() {
    // A listener may go, or another come, in a call.
    std::vector<xcb_window_t> windows;
    for (const Entry& entry : entries_) {
        if (entry.listensToPointer)
            windows.push_back(entry.window);
    }
    for (const xcb_window_t window : windows) {
        if (const Entry* entry = find(window))
            entry->listener->pointerMoved();
    }
}

RefreshSession::Entry* RefreshSession::find(xcb_window_t window) {
    const auto found = std::ranges::find(entries_, window, &Entry::window);
    return found == entries_.end() ? nullptr : &*found;
}

} // namespace lentora::x11
