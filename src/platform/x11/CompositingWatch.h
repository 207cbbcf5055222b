// Whether a compositing manager blends windows with what is behind them.
//
// A manager takes its selection first and redirects the windows later, and between two managers
// there may be a while with neither. Meanwhile the server shows a window with alpha as it is: black
// where it is transparent. So it is the redirection that counts.
//
// The server tells nobody of it, but one can see it: a window beside the screen is obscured, and
// when it is redirected it is not any more. Others may redirect windows too, and leave it to the
// server to show them; the server does so by itself with windows that have alpha, so that they
// have a pixmap says nothing. But only one client may redirect a window manually. So trying to
// do that tells whether somebody has.
#pragma once

#include "platform/x11/PanelServer.h"

#include <xcb/xcb.h>

#include <functional>
#include <memory>

namespace lentora::x11 {

/// Main thread. Where the server cannot redirect windows, nothing is ever composited. Where a
/// program has redirected all windows without showing them itself, a manager that comes or goes
/// besides is not noticed in time.
class CompositingWatch {
public:
    /// `changed` is called when windows are composited, when they are not any more, and when the
    /// screen shows them again because the last manager has let go of them. Waits for the server.
    CompositingWatch(std::shared_ptr<const PanelServer> server, std::function<void()> changed);
    ~CompositingWatch();
    CompositingWatch(const CompositingWatch&) = delete;
    CompositingWatch& operator=(const CompositingWatch&) = delete;

    /// There is a manager, and it is this one that keeps the windows off the screen and draws them:
    /// not another, which it replaces.
    bool isComposited() const { return owner_ != XCB_NONE && isRedirected_ && !isReplaced_; }

    /// Takes an event of the connection. False when it is of another kind. Waits for the server
    /// when windows have been redirected.
    bool apply(const xcb_generic_event_t& event);

private:
    void setOwner(xcb_window_t owner);
    void setRedirected(bool redirected);
    bool isRedirectedManually() const;

    const std::shared_ptr<const PanelServer> server_;
    const std::function<void()> changed_;
    /// Beside the screen. None where the server cannot redirect.
    xcb_window_t witness_ = XCB_NONE;
    /// To try on. Not mapped, or trying would be seen as a change.
    xcb_window_t probe_ = XCB_NONE;
    xcb_window_t owner_ = XCB_NONE;
    bool isRedirected_ = false;
    /// By one that has given up the selection.
    bool isReplaced_ = false;
};

} // namespace lentora::x11
