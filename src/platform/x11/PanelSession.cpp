#include "platform/x11/PanelSession.h"

#include "platform/x11/X11Panel.h"

#include <xcb/randr.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <utility>

namespace lentora::x11 {

PanelSession::PanelSession(std::shared_ptr<const PanelServer> server, X11PanelsOptions options,
                           const PanelServices& services)
    : server_(std::move(server)), options_(std::move(options)), services_(services),
      messages_(server_->connection()) {
    xcb_connection_t* c = server_->get();
    // First, so that no change is missed.
    xcb_xfixes_select_selection_input(c, server_->root(), server_->compositingManager(),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const XcbPtr<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        c, xcb_get_selection_owner(c, server_->compositingManager()), nullptr));
    isComposited_ = owner && owner->owner != XCB_NONE;
    watch_ = services_.watches.watch(server_->connection().fileDescriptor(),
                                     [this] { handleArrived(); });
}

PanelSession::~PanelSession() {
    watch_.reset();
    xcb_connection_t* c = server_->get();
    const XcbPtr<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

PixelRect PanelSession::onRoot(const Rect& cocoa) const {
    const ScreenLayout now = layout();
    const double primaryHeight =
        now.monitors.empty() ? 0 : now.monitors.front().rect.height / now.space.scale;
    PixelRect rect =
        now.space.toPixels({cocoa.x, primaryHeight - cocoa.maxY(), cocoa.width, cocoa.height});
    rect.width = std::max(rect.width, 1);
    rect.height = std::max(rect.height, 1);
    return rect;
}

void PanelSession::remove(const X11Panel& panel) {
    std::erase(panels_, &panel);
}

void PanelSession::shownPanelsDidChange() {
    const bool isAnyShown = std::ranges::any_of(panels_, &X11Panel::isShown);
    if (std::exchange(isWatchingWindows_, isAnyShown) == isAnyShown)
        return;
    const std::uint32_t mask =
        isAnyShown ? XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY : XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(server_->get(), server_->root(), XCB_CW_EVENT_MASK, &mask);
}

void PanelSession::whenDone(std::function<void()> done) {
    messages_.expect<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus(server_->get()),
        [done = std::move(done)](const xcb_get_input_focus_reply_t*) { done(); });
}

void PanelSession::askRefreshRate(std::function<void(double hertz)> answer) {
    if (!server_->hasRandr())
        return;
    messages_.expect<xcb_randr_get_screen_info_reply_t>(
        xcb_randr_get_screen_info(server_->get(), server_->root()),
        [answer = std::move(answer)](const xcb_randr_get_screen_info_reply_t* info) {
            if (info != nullptr && info->rate > 0)
                answer(info->rate);
        });
}

void PanelSession::flush() {
    xcb_flush(server_->get());
    // Writing reads as well; what was read then, the descriptor does not tell of any more.
    handleArrived();
}

void PanelSession::handleArrived() {
    // A handler may flush.
    if (std::exchange(isHandling_, true))
        return;
    while (messages_.dispatchNext([this](const xcb_generic_event_t& event) { dispatch(event); })) {
    }
    isHandling_ = false;
    if (isLost())
        return lose();
    xcb_flush(server_->get());
}

void PanelSession::dispatch(const xcb_generic_event_t& event) {
    // Errors are of what has gone in the meantime. Events that others sent may say anything.
    if (event.response_type == 0 || (event.response_type & 0x80) != 0)
        return;
    if (event.response_type == server_->selectionNotify()) {
        const auto& owner = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
        return setComposited(owner.owner != XCB_NONE);
    }
    switch (event.response_type) {
    case XCB_EXPOSE: {
        const auto& lost = reinterpret_cast<const xcb_expose_event_t&>(event);
        for (X11Panel* panel : panels_) {
            if (panel->windowNumber() == lost.window)
                panel->contentsWereLost({lost.x, lost.y, lost.width, lost.height});
        }
        return;
    }
    case XCB_MAP_NOTIFY:
        return windowIsAbove(reinterpret_cast<const xcb_map_notify_event_t&>(event).window);
    case XCB_CONFIGURE_NOTIFY: {
        const auto& moved = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        const auto isBelow = [&](const X11Panel* p) {
            return p->windowNumber() == moved.above_sibling;
        };
        if (std::ranges::any_of(panels_, isBelow))
            windowIsAbove(moved.window);
        return;
    }
    case XCB_CIRCULATE_NOTIFY:
        return windowIsAbove(reinterpret_cast<const xcb_circulate_notify_event_t&>(event).window);
    case XCB_REPARENT_NOTIFY:
        return windowIsAbove(reinterpret_cast<const xcb_reparent_notify_event_t&>(event).window);
    default:
        return;
    }
}

void PanelSession::setComposited(bool composited) {
    if (std::exchange(isComposited_, composited) == composited)
        return;
    for (X11Panel* panel : panels_)
        panel->compositingDidChange();
}

void PanelSession::windowIsAbove(xcb_window_t window) {
    const auto isPanel = [&](const X11Panel* p) { return p->windowNumber() == window; };
    if (std::ranges::any_of(panels_, isPanel))
        return;
    for (X11Panel* panel : panels_)
        panel->stayOnTop();
}

void PanelSession::lose() {
    if (std::exchange(hasLost_, true))
        return;
    // The descriptor would be readable for ever. This runs in the watch itself.
    services_.mainQueue.post([this, self = lifetime_.watch()] {
        if (!self)
            return;
        watch_.reset();
        if (options_.serverLost)
            options_.serverLost();
    });
}

} // namespace lentora::x11
