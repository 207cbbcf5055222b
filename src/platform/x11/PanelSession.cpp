#include "platform/x11/PanelSession.h"

#include "platform/x11/X11Panel.h"

#include <algorithm>
#include <utility>

namespace lentora::x11 {

PanelSession::PanelSession(std::shared_ptr<const PanelServer> server, X11PanelsOptions options,
                           const PanelServices& services)
    : server_(std::move(server)), options_(std::move(options)), services_(services),
      messages_(server_->connection()), compositing_(server_, [this] {
          for (X11Panel* panel : panels_)
              panel->compositingDidChange();
      }) {
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
    return x11::onRoot(layout(), cocoa);
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

bool PanelSession::isPanel(xcb_window_t window) const {
    return std::ranges::any_of(panels_,
                               [&](const X11Panel* p) { return p->windowNumber() == window; });
}

void PanelSession::readStack(std::function<void(const std::vector<StackedWindow>&)> answer) {
    x11::readStack(server_->connection(), messages_, std::move(answer));
}

void PanelSession::findClient(xcb_window_t window, std::function<void(bool)> answer) {
    x11::findClient(server_->connection(), messages_, window, server_->atom(PanelAtom::wmState),
                    std::move(answer));
}

void PanelSession::whenDone(std::function<void()> done) {
    messages_.expect<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus(server_->get()),
        [done = std::move(done)](const xcb_get_input_focus_reply_t*) { done(); });
}

void PanelSession::flush() {
    xcb_flush(server_->get());
    // Writing reads as well; what was read then, the descriptor does not tell of any more.
    handleArrived();
}

void PanelSession::finish() {
    const XcbPtr<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(server_->get(), xcb_get_input_focus(server_->get()), nullptr));
    handleArrived();
}

void PanelSession::handleArrived() {
    // A handler may flush.
    if (std::exchange(isHandling_, true))
        return;
    bool hasHandled = true;
    while (std::exchange(hasHandled, false)) {
        while (
            messages_.dispatchNext([this](const xcb_generic_event_t& event) { dispatch(event); }))
            hasHandled = true;
        // This may read as well.
        xcb_flush(server_->get());
    }
    isHandling_ = false;
    if (isLost())
        lose();
}

void PanelSession::dispatch(const xcb_generic_event_t& event) {
    // Errors are of what has gone in the meantime. Events that others sent may say anything.
    if (event.response_type == 0 || (event.response_type & 0x80) != 0)
        return;
    if (compositing_.apply(event))
        return;
    switch (event.response_type) {
    case XCB_EXPOSE: {
        const auto& lost = reinterpret_cast<const xcb_expose_event_t&>(event);
        for (X11Panel* panel : panels_) {
            if (panel->windowNumber() == lost.window)
                panel->contentsWereLost({lost.x, lost.y, lost.width, lost.height},
                                        event.full_sequence);
        }
        return;
    }
    case XCB_MAP_NOTIFY:
        return windowIsAbove(reinterpret_cast<const xcb_map_notify_event_t&>(event).window);
    case XCB_CONFIGURE_NOTIFY: {
        const auto& moved = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        if (isPanel(moved.above_sibling))
            windowIsAbove(moved.window);
        return;
    }
    case XCB_UNMAP_NOTIFY:
        // The panel may have stayed below what came above a screen locker.
        return windowIsAbove(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window);
    case XCB_CIRCULATE_NOTIFY:
        return windowIsAbove(reinterpret_cast<const xcb_circulate_notify_event_t&>(event).window);
    case XCB_REPARENT_NOTIFY:
        return windowIsAbove(reinterpret_cast<const xcb_reparent_notify_event_t&>(event).window);
    default:
        return;
    }
}

void PanelSession::windowIsAbove(xcb_window_t window) {
    if (isPanel(window))
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
