// What drawing layers takes, kept on the server from one drawing to the next.
#pragma once

#include "platform/TextRenderer.h"
#include "platform/x11/PresentedTree.h"
#include "platform/x11/ServerPicture.h"

#include <cstddef>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

namespace lentora::x11 {

/// As the server takes colours.
xcb_render_color_t premultiplied(const Color& color);

/// A rounded rectangle in parts: plain rectangles, and those that are drawn through a mask.
struct ShapeParts {
    struct Masked {
        PixelRect rect;
        /// Where in the mask it begins.
        int maskX = 0;
        int maskY = 0;
    };

    std::vector<PixelRect> plain;
    std::vector<Masked> masked;
    /// Null where nothing is masked.
    const ServerPicture* mask = nullptr;
};

/// Main thread.
class PaintSupplies {
public:
    /// `text` outlives the supplies.
    PaintSupplies(std::shared_ptr<const PanelServer> server, const TextRenderer& text)
        : server_(std::move(server)), text_(text) {}

    /// `shape` with corners of `radius` pixels: the whole, or a border of that width along its
    /// inside. Masks are made once.
    ShapeParts parts(const PixelRect& shape, double radius, int border);

    /// A mask that is `reach` pixels larger on every side than the rounded rectangle of `width` x
    /// `height` pixels that casts the shadow.
    const ServerPicture& shadow(int width, int height, double radius, double deviation, int reach);

    /// The layer's contents. They are uploaded once for as long as they exist; of a layer's next
    /// text, only what is not as in the one before. Null where there are none that can be drawn.
    ServerPicture* contents(const PresentedLayerPixels& layer, double scale);

    /// A picture of that colour. It stays for the next drawing.
    xcb_render_picture_t solid(const Color& color);
    void freeSolids() { solids_.clear(); }

    /// Forgets contents that no longer exist. To be called when they are not being drawn.
    void forgetContentsThatAreGone();

private:
    struct Kept {
        std::weak_ptr<const void> contents;
        std::unique_ptr<ServerPicture> picture;
    };
    struct KeptText {
        std::weak_ptr<const AttributedText> text;
        double scale = 1;
        Picture pixels;
        std::unique_ptr<ServerPicture> picture;
    };
    // Width, height, radius, and width of the border or deviation.
    using MaskKey = std::tuple<int, int, double, double>;

    const ServerPicture& shapeMask(int width, int height, double radius, int border);
    ServerPicture* textOf(const PresentedLayerPixels& layer,
                          const std::shared_ptr<const AttributedText>& text, double scale);
    std::unique_ptr<ServerPicture> made(const PresentedLayerPixels& layer) const;

    const std::shared_ptr<const PanelServer> server_;
    const TextRenderer& text_;
    std::map<MaskKey, std::unique_ptr<ServerPicture>> shapes_;
    std::map<MaskKey, std::unique_ptr<ServerPicture>> shadows_;
    std::map<std::tuple<double, double, double, double>, SolidPicture> solids_;
    std::map<const void*, Kept> contents_;
    std::map<const Layer*, KeptText> texts_;
};

} // namespace lentora::x11
