// What the panels of a server share: the connection, its events, and the desktop around them.
#pragma once

#include "platform/x11/CompositingWatch.h"
#include "platform/x11/MessageQueue.h"
#include "platform/x11/PanelServer.h"
#include "platform/x11/PixelRegion.h"
#include "platform/x11/StackReading.h"
#include "platform/x11/X11Panels.h"
#include "support/Lifetime.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lentora::x11 {

class X11Panel;

/// Main thread. Nothing in here waits for the server but the making, the end, `finish`, and the
/// answer to one question when a compositing manager starts.
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
    bool isComposited() const { return compositing_.isComposited(); }

    void add(X11Panel& panel) { panels_.push_back(&panel); }
    void remove(const X11Panel& panel);
    /// A panel came onto the screen or went. While one is there, other windows are watched.
    void shownPanelsDidChange();
    bool isPanel(xcb_window_t window) const;

    /// Calls `answer` with the windows that can be seen, bottom to top; panels are among them.
    void readStack(std::function<void(const std::vector<StackedWindow>&)> answer);
    /// Calls `answer` with whether an application's window lies in this window.
    void findClient(xcb_window_t window, std::function<void(bool)> answer);

    /// Calls `done` when the server has carried out all that was sent before.
    void whenDone(std::function<void()> done);
    /// Sends what was asked for, and handles what has arrived.
    void flush();
    /// Likewise, and waits until the server has carried it out.
    void finish();

    bool isLost() const { return server_->connection().isLost(); }
    std::uint64_t bytesSent() const { return xcb_total_written(server_->get()); }

private:
    void handleArrived();
    void dispatch(const xcb_generic_event_t& event);
    void windowIsAbove(xcb_window_t window);
    void lose();

    const std::shared_ptr<const PanelServer> server_;
    const X11PanelsOptions options_;
    const PanelServices services_;
    MessageQueue messages_;
    CompositingWatch compositing_;
    bool isWatchingWindows_ = false;
    bool isHandling_ = false;
    bool hasLost_ = false;
    std::vector<X11Panel*> panels_;
    std::unique_ptr<posix::DescriptorWatch> watch_;
    Lifetime lifetime_;
};

} // namespace lentora::x11
