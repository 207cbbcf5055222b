#include "platform/x11/CompositingWatch.h"

#include <xcb/composite.h>
#include <xcb/xfixes.h>

#include <array>
#include <cstdint>
#include <utility>

namespace lentora::x11 {

namespace {

constexpr std::uint8_t badAccess = 10;

} // namespace

CompositingWatch::CompositingWatch(std::shared_ptr<const PanelServer> server,
                                   std::function<void()> changed)
    : server_(std::move(server)), changed_(std::move(changed)) {
    xcb_connection_t* c = server_->get();
    // First, so that no change is missed.
    xcb_xfixes_select_selection_input(c, server_->root(), server_->compositingManager(),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const auto owner = xcb_get_selection_owner(c, server_->compositingManager());
    if (server_->connection().extension(xcb_composite_id)) {
        xcb_discard_reply(c, xcb_composite_query_version(c, 0, 4).sequence);
        witness_ = xcb_generate_id(c);
        const std::array<std::uint32_t, 2> values{1, XCB_EVENT_MASK_VISIBILITY_CHANGE};
        // Without alpha: with it, it would always be redirected.
        xcb_create_window(c, XCB_COPY_FROM_PARENT, witness_, server_->root(), -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
        xcb_map_window(c, witness_);
        probe_ = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, probe_, server_->root(), -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT, values.data());
        isRedirected_ = isRedirectedManually();
    }
    const XcbPtr<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(c, owner, nullptr));
    owner_ = reply ? reply->owner : static_cast<xcb_window_t>(XCB_NONE);
}

CompositingWatch::~CompositingWatch() {
    if (witness_ == XCB_NONE)
        return;
    xcb_destroy_window(server_->get(), witness_);
    xcb_destroy_window(server_->get(), probe_);
}

bool CompositingWatch::apply(const xcb_generic_event_t& event) {
    if (event.response_type == server_->selectionNotify()) {
        setOwner(reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event).owner);
        return true;
    }
    if (event.response_type != XCB_VISIBILITY_NOTIFY)
        return false;
    const auto& seen = reinterpret_cast<const xcb_visibility_notify_event_t&>(event);
    if (seen.window != witness_)
        return false;
    setRedirected(seen.state != XCB_VISIBILITY_FULLY_OBSCURED && isRedirectedManually());
    return true;
}

void CompositingWatch::setOwner(xcb_window_t owner) {
    const bool wasComposited = isComposited();
    if (isRedirected_ && owner_ != XCB_NONE && owner != owner_)
        isReplaced_ = true;
    owner_ = owner;
    if (isComposited() != wasComposited)
        changed_();
}

void CompositingWatch::setRedirected(bool redirected) {
    if (std::exchange(isRedirected_, redirected) == redirected)
        return;
    if (!redirected)
        isReplaced_ = false;
    if (!redirected || isComposited())
        changed_();
}

// While the server is grabbed no manager can start: it would find the window taken.
bool CompositingWatch::isRedirectedManually() const {
    xcb_connection_t* c = server_->get();
    xcb_grab_server(c);
    const auto redirected =
        xcb_composite_redirect_window_checked(c, probe_, XCB_COMPOSITE_REDIRECT_MANUAL);
    xcb_composite_unredirect_window(c, probe_, XCB_COMPOSITE_REDIRECT_MANUAL);
    xcb_ungrab_server(c);
    const XcbPtr<xcb_generic_error_t> error(xcb_request_check(c, redirected));
    return error && error->error_code == badAccess;
}

} // namespace lentora::x11
