// What the panels of a server share: the connection, its events, and the desktop around them.
#pragma once

#include "platform/x11/MessageQueue.h"
#include "platform/x11/PanelServer.h"
#include "platform/x11/PixelRegion.h"
#include "platform/x11/X11Panels.h"
#include "support/Lifetime.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lentora::x11 {

class X11Panel;

/// Main thread. Nothing in here waits for the server but the making and the end.
class PanelSession {
public:
    PanelSession(std::shared_ptr<const PanelServer> server, X11PanelsOptions options,
                 const PanelServices& services);
    /// When it returns, the server reads no surface any more.
    ~PanelSession();
    PanelSession(const PanelSession&) = delete;
    PanelSession& operator=(const PanelSession&) = delete;

    const std::shared_ptr<const PanelServer>& server() const { return server_; }
    const PanelServices& services() const { return services_; }

    ScreenLayout layout() const { return options_.layout(); }
    /// A rectangle in Cocoa space on the root window.
    PixelRect onRoot(const Rect& cocoa) const;

    /// Whether a compositing manager blends windows with what is behind them.
    bool isComposited() const { return isComposited_; }

    void add(X11Panel& panel) { panels_.push_back(&panel); }
    void remove(const X11Panel& panel);
    /// A panel came onto the screen or went. While one is there, other windows are watched.
    void shownPanelsDidChange();

    /// Calls `done` when the server has carried out all that was sent before.
    void whenDone(std::function<void()> done);
    /// Calls `answer` with the display's refreshes in a second, where the server knows them.
    void askRefreshRate(std::function<void(double hertz)> answer);
    /// Sends what was asked for, and handles what has arrived.
    void flush();

    bool isLost() const { return server_->connection().isLost(); }
    std::uint64_t bytesSent() const { return xcb_total_written(server_->get()); }

private:
    void handleArrived();
    void dispatch(const xcb_generic_event_t& event);
    void setComposited(bool composited);
    void windowIsAbove(xcb_window_t window);
    void lose();

    const std::shared_ptr<const PanelServer> server_;
    const X11PanelsOptions options_;
    const PanelServices services_;
    MessageQueue messages_;
    bool isComposited_ = false;
    bool isWatchingWindows_ = false;
    bool isHandling_ = false;
    bool hasLost_ = false;
    std::vector<X11Panel*> panels_;
    std::unique_ptr<posix::DescriptorWatch> watch_;
    Lifetime lifetime_;
};

} // namespace lentora::x11
