// A tree of layers as it is seen at one moment, in pixels, and what differs between two moments.
#pragma once

#include "platform/x11/PixelRegion.h"
#include "render/Layer.h"
#include "support/Rect.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace lentora::x11 {

/// Coordinates are the panel's: pixels, origin at its top-left corner, y down. Edges of layers lie
/// between pixels, so that they are sharp; only contents are placed more finely.
struct PresentedLayerPixels {
    /// To recognise the layer by. It may be gone.
    const Layer* layer = nullptr;
    LayerStyle style;
    LayerContents contents;
    Rect frame;
    /// The frame's nearest whole pixels.
    PixelRect shape;
    double opacity = 1;
    /// With the opacity of all that it lies in.
    double totalOpacity = 1;
    /// What its ancestors let be seen of it, but for the roundness of their corners.
    PixelRect clip;
    /// All that it draws on itself, or hides of its children. Empty when there is nothing.
    PixelRect extent;
    /// Where it begins, and the index behind its last descendant.
    std::size_t parent = 0;
    std::size_t end = 0;

    bool hasBackground() const { return style.backgroundColor.alpha > 0; }
    bool hasBorder() const { return style.borderWidth > 0 && style.borderColor.alpha > 0; }
    bool hasShadow() const { return style.shadow.opacity > 0; }
    bool hasContents() const { return !std::holds_alternative<std::monostate>(contents); }
    const Surface* surface() const;
};

struct PresentedTree {
    /// Pixels per point.
    double scale = 1;
    int width = 0;
    int height = 0;
    /// In the order of drawing; a layer comes before its children.
    std::vector<PresentedLayerPixels> layers;

    PixelRect bounds() const { return {0, 0, width, height}; }
    double cornerRadius(const PresentedLayerPixels& layer) const {
        return layer.style.cornerRadius * scale;
    }
    /// Whole pixels; a border is at least one wide.
    int borderWidth(const PresentedLayerPixels& layer) const;
};

/// What is seen of `root` at `time` on a panel of `width` x `height` pixels.
PresentedTree present(const Layer& root, double time, double scale, int width, int height);

/// What may differ between two surfaces of the same size, in their pixels.
using SurfaceDamage = std::function<PixelRegion(const Surface& now, const Surface& before)>;

/// What has to be drawn again where `before` is shown and `now` is to be.
PixelRegion changes(const PresentedTree& before, const PresentedTree& now,
                    const SurfaceDamage& surfaceDamage);

/// `rect` without what `hole` covers: up to four rectangles, which do not overlap.
std::vector<PixelRect> without(const PixelRect& rect, const PixelRect& hole);
/// Likewise, for each of `rects`.
std::vector<PixelRect> without(const std::vector<PixelRect>& rects, const PixelRect& hole);

/// The rounded rectangle without its corners' squares: up to three rectangles, from top to bottom.
std::vector<PixelRect> withoutCorners(const PixelRect& rect, double radius);

/// A picture that can be drawn onto the panel by itself: no other layer has a part in what is seen
/// there.
struct PlainImage {
    std::size_t layer = 0;
    /// They do not overlap.
    std::vector<PixelRect> rects;
};

/// The topmost surface. `isTransparent`: there is nothing below the panel's layers.
PlainImage plainImage(const PresentedTree& tree, bool isTransparent);

/// What the layers cover, but for shadows: rectangles that may overlap.
std::vector<PixelRect> silhouette(const PresentedTree& tree);

} // namespace lentora::x11
