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
    /// The server has forgotten what was drawn on a part of the window.
    void contentsWereLost(const PixelRect& part);
    void compositingDidChange();
    /// Another window may have come above.
    void stayOnTop();

private:
    double now() const { return session_->services().clock.now(); }
    void drawEverything();
    void scheduleDrawing();
    void drawIfDue();
    void draw(double time);
    void send(const PresentedTree& tree, const PixelRegion& region);
    void letGoOfDrawn();

    const std::shared_ptr<PanelSession> session_;
    PanelWindow window_;
    LayerPainter painter_;
    FramePacer pacer_;
    RaiseBudget raises_;
    bool isRaiseScheduled_ = false;

    std::shared_ptr<Layer> content_;
    bool isShown_ = false;
    // What the window shows, or will when the server has caught up. Keeps its contents.
    PresentedTree drawn_;
    // Of the window, to be drawn whether or not it differs.
    PixelRegion lost_;
    // Where there is no compositing manager: what was below the panel when it came.
    std::unique_ptr<ServerPicture> backdrop_;
    // The time that a drawing is scheduled for.
    std::optional<double> scheduled_;
    Lifetime lifetime_;
};

} // namespace lentora::x11
