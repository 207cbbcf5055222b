// A panel on an X server: a window, a tree of layers, and when which part of it is drawn.
#pragma once

#include "platform/Panel.h"
#include "platform/x11/FramePacer.h"
#include "platform/x11/LayerPainter.h"
#include "platform/x11/PanelSession.h"
#include "platform/x11/PanelWindow.h"
#include "platform/x11/PixelRegion.h"
#include "platform/x11/PresentedTree.h"
#include "platform/x11/RaiseBudget.h"
#include "render/Layer.h"
#include "support/Lifetime.h"
#include "support/Rect.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// Main thread. What it shows is compared with what it showed before, and only what differs is
/// drawn. At most one drawing is on its way to the server; until the server has carried it out,
/// changes are gathered.
class X11Panel final : public Panel, public LayerObserver {
public:
    X11Panel(std::shared_ptr<PanelSession> session, const Rect& frame);
    ~X11Panel() override;
    X11Panel(const X11Panel&) = delete;
    X11Panel& operator=(const X11Panel&) = delete;

    // Panel.
    void setContent(std::shared_ptr<Layer> root) override;
    void setFrame(const Rect& frame) override;
    void orderFront() override;
    void orderOut() override;
    std::uint32_t windowNumber() const override { return window_.id(); }

    // LayerObserver.
    void layersDidChange() override;

    // For the session.

    bool isShown() const { return isShown_; }
    /// The server has forgotten what was drawn on a part of the window by requests up to this one.
    void contentsWereLost(const PixelRect& part, std::uint32_t request);
    /// A compositing manager came or went, or has let go of the windows.
    void compositingDidChange();
    /// Another window may have come above. The panel goes above it in turn, but for an unmanaged
    /// window that covers the panel: a screen locker. An unmanaged full-screen window of a player
    /// or a game cannot be told from one; a managed one can, and does not stay above.
    void stayOnTop();

private:
    double now() const { return session_->services().clock.now(); }
    void followDisplay();
    // The panel without anything in it.
    PresentedTree emptyTree() const;
    void startBackdrop();
    void drawEverything();
    void scheduleDrawing();
    void drawIfDue();
    void draw(double time);
    void send(const PresentedTree& tree, const PixelRegion& region, bool drawsAll);
    void refreshBackdrop(const PresentedTree& tree);
    void findUncovered(const PixelRect& place);
    void goAbove(const std::vector<StackedWindow>& windows);
    void goAboveAll(std::vector<StackedWindow> windows);
    void hasRisen();
    void letGoOfDrawn();

    const std::shared_ptr<PanelSession> session_;
    PanelWindow window_;
    LayerPainter painter_;
    FramePacer pacer_;
    RaiseBudget raises_;
    bool isRaiseScheduled_ = false;
    bool isRising_ = false;
    bool mustRiseAgain_ = false;
    // How often the panel was raised above all windows.
    unsigned raiseCount_ = 0;

    std::shared_ptr<Layer> content_;
    bool isShown_ = false;
    // What the window shows, or will when the server has caught up. Keeps its contents.
    PresentedTree drawn_;
    // Of the window, to be drawn whether or not it differs: where there are layers, and anywhere.
    PixelRegion lost_;
    bool isUnknown_ = false;
    // Set while that is on its way: the request behind which all layers are drawn.
    std::optional<std::uint32_t> allDrawn_;
    // Where there is no compositing manager: what was below each part when the panel covered it.
    std::unique_ptr<ServerPicture> backdrop_;
    // While a lens fades there: the window that it shows, and what of the panel lies over parts of
    // that window which nothing else covers.
    bool isFading_ = false;
    xcb_window_t behind_ = XCB_NONE;
    std::vector<PixelRect> uncovered_;
    // The time that a drawing is scheduled for.
    std::optional<double> scheduled_;
    Lifetime lifetime_;
};

} // namespace lentora::x11
