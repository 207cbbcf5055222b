// The X window of a panel: above everything, out of everybody's way.
#pragma once

#include "platform/x11/PanelServer.h"
#include "platform/x11/PixelRegion.h"
#include "platform/x11/ServerPicture.h"

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <memory>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// Not mapped when it is made. Its input shape is empty: the pointer never meets it. Window
/// managers leave it alone. Sends requests; waits for nothing. Main thread.
class PanelWindow {
public:
    PanelWindow(std::shared_ptr<const PanelServer> server, const PixelRect& frame);
    ~PanelWindow();
    PanelWindow(const PanelWindow&) = delete;
    PanelWindow& operator=(const PanelWindow&) = delete;

    xcb_window_t id() const { return id_; }
    xcb_render_picture_t picture() const { return picture_; }
    const PixelRect& frame() const { return frame_; }

    void setFrame(const PixelRect& frame);
    void map();
    void unmap();
    void raise();

    /// With a compositing manager, the window is transparent where nothing is drawn. Without one it
    /// is to be cut to what it shows, and what is behind it has to be drawn by itself.
    void setTransparent(bool transparent);
    /// The parts of it that there are; of use where it is not transparent.
    void cutTo(const std::vector<PixelRect>& rects);

    /// What is on the screen where the window is, without the window: unmaps it for a moment
    /// where it is mapped, and then it is empty.
    std::unique_ptr<ServerPicture> pictureOfScreenBelow();

private:
    void setProperties();

    const std::shared_ptr<const PanelServer> server_;
    const xcb_window_t id_;
    xcb_render_picture_t picture_ = XCB_NONE;
    PixelRect frame_;
    bool isMapped_ = false;
    /// Nothing where it is not cut.
    std::optional<std::vector<PixelRect>> cut_;
};

} // namespace lentora::x11
