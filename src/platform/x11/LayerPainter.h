// Draws layers onto a panel, on the server.
//
// Each drawing appears at once, or nearly so. Where a captured frame is all that is to be seen, it
// is drawn straight onto the window: that is most of a lens, and costs no more than drawing it
// costs at all. The rest (edges, cards, badges) is put together on a pixmap first and copied.
#pragma once

#include "platform/TextRenderer.h"
#include "platform/x11/KeptGroups.h"
#include "platform/x11/PaintSupplies.h"
#include "platform/x11/PixelRegion.h"
#include "platform/x11/PresentedTree.h"
#include "platform/x11/ServerPicture.h"

#include <xcb/render.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// Main thread. Sends requests; waits for nothing.
class LayerPainter {
public:
    /// `text` outlives the painter.
    LayerPainter(std::shared_ptr<const PanelServer> server, const TextRenderer& text);

    /// Draws what is to be seen within `region` onto `window`, a picture of the tree's size.
    /// `backdrop`, as large, is what is behind the panel; null where the window is transparent.
    void paint(const PresentedTree& tree, const PixelRegion& region, xcb_render_picture_t window,
               const ServerPicture* backdrop);

    /// Copies what the surfaces show at their own size onto these parts of `backdrop`: where the
    /// window that they show can be seen behind them.
    void refresh(const PresentedTree& tree, const ServerPicture& backdrop,
                 const std::vector<PixelRect>& parts);

    /// Lets go of contents that no longer exist.
    void forgetContentsThatAreGone() { supplies_.forgetContentsThatAreGone(); }

    /// Lets go of everything that only serves drawing.
    void freePixmaps();

private:
    struct RoundedClip {
        PixelRect shape;
        double radius = 0;
    };
    // What is drawn on. Coordinates are the panel's everywhere.
    struct Canvas {
        xcb_render_picture_t picture = XCB_NONE;
        // Where its pixmap begins.
        int x = 0;
        int y = 0;
        PixelRect bounds;
        // Only for contents.
        std::optional<RoundedClip> clip;
    };
    // A picture to draw with; its pixel (0, 0) lies there.
    struct Source {
        xcb_render_picture_t picture = XCB_NONE;
        int x = 0;
        int y = 0;
    };

    void paintPlainImage(const PresentedLayerPixels& layer, const std::vector<PixelRect>& rects,
                         xcb_render_picture_t window);
    void compose(const PixelRegion& region, xcb_render_picture_t window,
                 const ServerPicture* backdrop);

    void paintLayer(std::size_t index, const Canvas& canvas);
    void paintUngrouped(std::size_t index, const Canvas& canvas);
    void paintInside(std::size_t index, const Canvas& canvas);
    void paintShadow(const PresentedLayerPixels& layer, const Canvas& canvas);
    void paintContents(const PresentedLayerPixels& layer, const Canvas& canvas);
    void fill(const PresentedLayerPixels& layer, int border, const Color& color,
              const Canvas& canvas);

    Canvas beginGroup(const PixelRect& bounds);
    // The group that begins at `index` by itself: `whole` is all that it draws on.
    const ServerPicture& keptGroup(std::size_t index, const PixelRect& whole);
    void endRoundedGroup(const Canvas& group, const Canvas& canvas, const RoundedClip& clip);

    std::optional<Source> source(const PresentedLayerPixels& layer, PixelRect& covered);
    void clear(const Canvas& canvas);
    void blend(const Source& source, const PixelRect& rect, double opacity, const Canvas& canvas);
    void draw(std::uint8_t op, const Source& source, const PixelRect& rect, const Canvas& canvas);
    void draw(const Source& source, const ShapeParts& parts, const PixelRect& within,
              const Canvas& canvas);
    void setClip(xcb_render_picture_t picture, int x, int y, const std::vector<PixelRect>& rects);

    PixelRect extentWithChildren(std::size_t index) const;
    bool hasOnlyPlainChildren(std::size_t index) const;

    const std::shared_ptr<const PanelServer> server_;
    PaintSupplies supplies_;
    KeptGroups groups_;
    // Of the whole panel.
    std::unique_ptr<ServerPicture> composed_;
    // For groups within groups.
    std::vector<std::unique_ptr<ServerPicture>> scratch_;
    std::size_t openGroups_ = 0;
    // Of the drawing at hand.
    const PresentedTree* tree_ = nullptr;
    std::vector<PixelRect> region_;
};

} // namespace lentora::x11
