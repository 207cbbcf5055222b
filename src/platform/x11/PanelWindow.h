// The X window of a panel: above everything, out of everybody's way.
#pragma once

#include "platform/x11/PanelServer.h"
#include "platform/x11/PixelRegion.h"
#include "platform/x11/ServerPicture.h"

#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

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
    /// Directly above another window.
    void putAbove(xcb_window_t sibling);

    /// With a compositing manager, the window is transparent where nothing is drawn. Without one it
    /// is to be cut to what it shows, and what is behind it has to be drawn by itself.
    void setTransparent(bool transparent);
    /// The parts of it that there are; of use where it is not transparent. What they cover for the
    /// first time is copied from the screen onto `below` before, a picture as large as the window:
    /// nobody sees it any more then, and it may be blended with. What was covered already is not:
    /// when a part is free again, its window may take its time to draw it.
    void cutTo(const std::vector<PixelRect>& rects, const ServerPicture& below);
    /// Cuts all of it away, and begins anew: nothing has been covered yet.
    void cutAway();

private:
    void setProperties();
    void setShape(const std::vector<PixelRect>& rects);
    void copyScreen(const std::vector<PixelRect>& parts, const ServerPicture& to) const;
    std::vector<xcb_rectangle_t> rectangles(const std::vector<PixelRect>& rects) const;

    const std::shared_ptr<const PanelServer> server_;
    const xcb_window_t id_;
    xcb_render_picture_t picture_ = XCB_NONE;
    PixelRect frame_;
    /// Nothing where it is not cut.
    std::optional<std::vector<PixelRect>> cut_;
    /// All that has been covered since it was cut away. The server keeps it: a badge that follows
    /// the pointer leaves a region of many parts.
    const xcb_xfixes_region_t covered_;
};

} // namespace lentora::x11
