#include "platform/x11/PresentedTree.h"

#include "render/LayerVisitor.h"
#include "render/Shapes.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <variant>

namespace lentora::x11 {

namespace {

// Frames may lie far outside of the panel; X's numbers end here.
constexpr double farAway = 30000;

int pixel(double value) {
    return static_cast<int>(std::lround(std::clamp(value, -farAway, farAway)));
}

PixelRect snapped(const Rect& rect) {
    const int left = pixel(rect.x);
    const int top = pixel(rect.y);
    return {left, top, pixel(rect.maxX()) - left, pixel(rect.maxY()) - top};
}

PixelRect grown(const PixelRect& rect, int margin) {
    return {rect.x - margin, rect.y - margin, rect.width + 2 * margin, rect.height + 2 * margin};
}

class Presentation final : public LayerVisitor {
public:
    Presentation(PresentedTree& tree, double pointHeight)
        : tree_(tree), pointHeight_(pointHeight) {}

    void enter(const PresentedLayer& presented) override {
        PresentedLayerPixels layer;
        layer.layer = &presented.layer;
        layer.style = presented.layer.style();
        layer.contents = presented.layer.contents();
        const double scale = tree_.scale;
        const Rect& frame = presented.frame;
        layer.frame = {frame.x * scale, (pointHeight_ - frame.maxY()) * scale, frame.width * scale,
                       frame.height * scale};
        layer.shape = snapped(layer.frame);
        layer.opacity = presented.opacity;
        layer.totalOpacity = presented.opacity;
        layer.clip = tree_.bounds();
        layer.parent = open_.empty() ? tree_.layers.size() : open_.back();
        if (!open_.empty()) {
            const PresentedLayerPixels& parent = tree_.layers[open_.back()];
            layer.totalOpacity *= parent.totalOpacity;
            layer.clip = parent.clip;
            if (parent.style.masksToBounds)
                layer.clip = intersection(layer.clip, parent.shape);
        }
        layer.extent = extentOf(layer);
        open_.push_back(tree_.layers.size());
        tree_.layers.push_back(std::move(layer));
    }

    void leave(const PresentedLayer& /*presented*/) override {
        tree_.layers[open_.back()].end = tree_.layers.size();
        open_.pop_back();
    }

private:
    PixelRect extentOf(const PresentedLayerPixels& layer) const {
        PixelRect extent;
        if (layer.hasBackground() || layer.hasBorder() || layer.hasContents() ||
            layer.style.masksToBounds)
            extent = layer.shape;
        if (layer.hasShadow()) {
            const LayerShadow& shadow = layer.style.shadow;
            const int reach =
                static_cast<int>(std::ceil(shadowReach * shadow.radius * tree_.scale)) + 1;
            const PixelRect cast = grown(layer.shape, reach)
                                       .translated(pixel(shadow.offset.x * tree_.scale),
                                                   pixel(-shadow.offset.y * tree_.scale));
            extent = extent.isEmpty() ? cast : bounding(extent, cast);
        }
        return intersection(extent, layer.clip);
    }

    PresentedTree& tree_;
    const double pointHeight_;
    std::vector<std::size_t> open_;
};

// Where the surface of `layer` shows a part of its pixels. The filter mixes neighbours.
PixelRect onPanel(const PresentedLayerPixels& layer, const Surface& surface,
                  const PixelRect& part) {
    const double x = layer.frame.width / surface.width();
    const double y = layer.frame.height / surface.height();
    const auto floored = [](double v) { return static_cast<int>(std::floor(v)); };
    const int left = floored(layer.frame.x + (part.x - 1) * x);
    const int top = floored(layer.frame.y + (part.y - 1) * y);
    return {left, top, floored(layer.frame.x + (part.maxX() + 1) * x) + 1 - left,
            floored(layer.frame.y + (part.maxY() + 1) * y) + 1 - top};
}

void addChanges(const PresentedLayerPixels& before, const PresentedLayerPixels& now,
                const SurfaceDamage& surfaceDamage, PixelRegion& region) {
    const bool isInPlace = before.frame == now.frame && before.style == now.style &&
                           before.totalOpacity == now.totalOpacity && before.clip == now.clip;
    if (isInPlace && before.contents == now.contents)
        return;
    const Surface* oldSurface = before.surface();
    const Surface* newSurface = now.surface();
    if (isInPlace && oldSurface != nullptr && newSurface != nullptr &&
        oldSurface->width() == newSurface->width() &&
        oldSurface->height() == newSurface->height()) {
        const PixelRegion damage = surfaceDamage(*newSurface, *oldSurface);
        for (const PixelRect& part : damage.rects())
            region.add(intersection(onPanel(now, *newSurface, part), now.extent));
        return;
    }
    region.add(before.extent);
    region.add(now.extent);
}

const PresentedLayerPixels* find(const PresentedTree& tree, const Layer* layer) {
    const auto found = std::ranges::find(tree.layers, layer, &PresentedLayerPixels::layer);
    return found == tree.layers.end() ? nullptr : &*found;
}

// Row by row where it is round, as far as a pixel has any part in it.
void addRounded(const PixelRect& shape, double radius, std::vector<PixelRect>& rects) {
    const RoundedRect rounded{{static_cast<double>(shape.x), static_cast<double>(shape.y),
                               static_cast<double>(shape.width), static_cast<double>(shape.height)},
                              radius};
    const int corner =
        std::min(static_cast<int>(std::ceil(radius)), std::min(shape.width, shape.height) / 2);
    const auto addRow = [&](int y) {
        int inset = 0;
        while (inset < corner && rounded.coverage({shape.x + inset + 0.5, y + 0.5}) <= 0)
            ++inset;
        rects.push_back({shape.x + inset, y, shape.width - 2 * inset, 1});
    };
    for (int row = 0; row < corner; ++row) {
        addRow(shape.y + row);
        addRow(shape.maxY() - 1 - row);
    }
    const PixelRect middle{shape.x, shape.y + corner, shape.width, shape.height - 2 * corner};
    if (!middle.isEmpty())
        rects.push_back(middle);
}

} // namespace

const Surface* PresentedLayerPixels::surface() const {
    const auto* held = std::get_if<std::shared_ptr<const Surface>>(&contents);
    return held == nullptr ? nullptr : held->get();
}

int PresentedTree::borderWidth(const PresentedLayerPixels& layer) const {
    return layer.hasBorder() ? std::max(pixel(layer.style.borderWidth * scale), 1) : 0;
}

PresentedTree present(const Layer& root, double time, double scale, int width, int height) {
    PresentedTree tree;
    tree.scale = scale;
    tree.width = width;
    tree.height = height;
    Presentation presentation(tree, height / scale);
    visitLayers(root, time, presentation);
    return tree;
}

PixelRegion changes(const PresentedTree& before, const PresentedTree& now,
                    const SurfaceDamage& surfaceDamage) {
    if (before.scale != now.scale || before.width != now.width || before.height != now.height)
        return PixelRegion(now.bounds());
    PixelRegion region;
    for (const PresentedLayerPixels& layer : before.layers) {
        if (find(now, layer.layer) == nullptr)
            region.add(layer.extent);
    }
    for (const PresentedLayerPixels& layer : now.layers) {
        if (const PresentedLayerPixels* old = find(before, layer.layer))
            addChanges(*old, layer, surfaceDamage, region);
        else
            region.add(layer.extent);
    }
    return region;
}

std::vector<PixelRect> without(const PixelRect& rect, const PixelRect& hole) {
    const PixelRect covered = intersection(rect, hole);
    if (covered.isEmpty())
        return rect.isEmpty() ? std::vector<PixelRect>{} : std::vector<PixelRect>{rect};
    std::vector<PixelRect> rest;
    const auto add = [&](int x, int y, int maxX, int maxY) {
        if (maxX > x && maxY > y)
            rest.push_back({x, y, maxX - x, maxY - y});
    };
    add(rect.x, rect.y, rect.maxX(), covered.y);
    add(rect.x, covered.y, covered.x, covered.maxY());
    add(covered.maxX(), covered.y, rect.maxX(), covered.maxY());
    add(rect.x, covered.maxY(), rect.maxX(), rect.maxY());
    return rest;
}

std::vector<PixelRect> without(const std::vector<PixelRect>& rects, const PixelRect& hole) {
    std::vector<PixelRect> rest;
    for (const PixelRect& rect : rects) {
        const auto parts = without(rect, hole);
        rest.insert(rest.end(), parts.begin(), parts.end());
    }
    return rest;
}

std::vector<PixelRect> withoutCorners(const PixelRect& rect, double radius) {
    const int corner = std::max(
        std::min(static_cast<int>(std::ceil(radius)), std::min(rect.width, rect.height) / 2), 0);
    std::vector<PixelRect> bands{
        {rect.x + corner, rect.y, rect.width - 2 * corner, corner},
        {rect.x, rect.y + corner, rect.width, rect.height - 2 * corner},
        {rect.x + corner, rect.maxY() - corner, rect.width - 2 * corner, corner}};
    std::erase_if(bands, [](const PixelRect& band) { return band.isEmpty(); });
    return bands;
}

PlainImage plainImage(const PresentedTree& tree, bool isTransparent) {
    PlainImage plain;
    const auto topmost = std::find_if(tree.layers.rbegin(), tree.layers.rend(),
                                      [](const auto& layer) { return layer.surface() != nullptr; });
    if (topmost == tree.layers.rend())
        return plain;
    plain.layer = static_cast<std::size_t>(tree.layers.rend() - topmost) - 1;
    const PresentedLayerPixels& image = tree.layers[plain.layer];
    if (image.totalOpacity < 1 && !isTransparent)
        return plain;
    plain.rects = {intersection(image.shape, image.clip)};
    // The layers that it lies in: their corners and borders, and its own.
    for (std::size_t at = plain.layer;; at = tree.layers[at].parent) {
        const PresentedLayerPixels& layer = tree.layers[at];
        std::vector<PixelRect> inside;
        if (layer.style.masksToBounds || layer.hasBorder()) {
            const PixelRect inner = grown(layer.shape, -tree.borderWidth(layer));
            for (const PixelRect& band : withoutCorners(layer.shape, tree.cornerRadius(layer))) {
                const PixelRect part = intersection(band, inner);
                for (const PixelRect& rect : plain.rects) {
                    if (const PixelRect both = intersection(rect, part); !both.isEmpty())
                        inside.push_back(both);
                }
            }
            plain.rects = std::move(inside);
        }
        // Below it, and to be seen through it.
        const bool isBelow = layer.hasBackground() || layer.hasShadow() ||
                             (layer.hasContents() && at != plain.layer);
        if (image.totalOpacity < 1 && isBelow)
            plain.rects.clear();
        if (layer.parent == at)
            break;
    }
    for (std::size_t i = 0; i < tree.layers.size(); ++i) {
        const PresentedLayerPixels& layer = tree.layers[i];
        const bool isAncestor = i <= plain.layer && layer.end > plain.layer;
        const bool isAbove = i > plain.layer;
        if (!isAncestor && (isAbove || image.totalOpacity < 1))
            plain.rects = without(plain.rects, layer.extent);
    }
    return plain;
}

std::vector<PixelRect> silhouette(const PresentedTree& tree) {
    std::vector<PixelRect> rects;
    std::vector<PixelRect> covered;
    for (const PresentedLayerPixels& layer : tree.layers) {
        const PixelRect shape = intersection(layer.shape, layer.clip);
        const bool isSeen = layer.hasBackground() || layer.hasBorder() || layer.hasContents();
        const auto covers = [&](const PixelRect& r) { return r.contains(shape); };
        if (!isSeen || shape.isEmpty() || std::ranges::any_of(covered, covers))
            continue;
        // The parent's shape, rounded, has been added where it is to be seen, too.
        const PresentedLayerPixels& parent = tree.layers[layer.parent];
        if (&parent != &layer && parent.style.masksToBounds && parent.hasBorder())
            continue;
        addRounded(shape, tree.cornerRadius(layer), rects);
        const auto inside = withoutCorners(shape, tree.cornerRadius(layer));
        covered.insert(covered.end(), inside.begin(), inside.end());
    }
    return rects;
}

} // namespace lentora::x11
