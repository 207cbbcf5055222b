#include "platform/x11/LayerPainter.h"

#include "platform/x11/ProtocolNumbers.h"
#include "render/Shapes.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lentora::x11 {

namespace {

// So little out of place, in pixels, is in place.
constexpr double placeTolerance = 0.01;

xcb_render_fixed_t fixed(double value) {
    return static_cast<xcb_render_fixed_t>(
        std::lround(std::clamp(value, -32767.0, 32767.0) * 65536));
}

// One axis of the way from a pixel of the panel to one of the contents, exact in the middle of
// what is seen: the factor itself has to be rounded.
struct Axis {
    xcb_render_fixed_t factor = 0;
    xcb_render_fixed_t offset = 0;

    Axis(double begin, double length, int pixels, double middle)
        : factor(fixed(pixels / length)),
          offset(fixed(pixels / length * (middle - begin) - factor / 65536.0 * middle)) {}
};

bool isWhole(double value) {
    return std::abs(value - std::round(value)) < placeTolerance;
}

std::vector<PixelRect> intersections(const std::vector<PixelRect>& a,
                                     const std::vector<PixelRect>& b) {
    std::vector<PixelRect> all;
    for (const PixelRect& one : a) {
        for (const PixelRect& other : b) {
            if (const PixelRect both = intersection(one, other); !both.isEmpty())
                all.push_back(both);
        }
    }
    return all;
}

PixelRect boundsOf(const std::vector<PixelRect>& rects) {
    PixelRect all;
    for (const PixelRect& rect : rects)
        all = all.isEmpty() ? rect : bounding(all, rect);
    return all;
}

} // namespace

LayerPainter::LayerPainter(std::shared_ptr<const PanelServer> server, const TextRenderer& text)
    : server_(server), supplies_(std::move(server), text) {}

void LayerPainter::freePixmaps() {
    composed_.reset();
    scratch_.clear();
    groups_.clear();
    supplies_.freeSolids();
}

void LayerPainter::paint(const PresentedTree& tree, const PixelRegion& region,
                         xcb_render_picture_t window, const ServerPicture* backdrop) {
    tree_ = &tree;
    const PlainImage plain = plainImage(tree, backdrop == nullptr);
    const std::vector<PixelRect> direct = intersections(region.rects(), plain.rects);
    if (!direct.empty())
        paintPlainImage(tree.layers[plain.layer], direct, window);
    std::vector<PixelRect> rest = region.rects();
    for (const PixelRect& rect : direct)
        rest = without(rest, rect);
    PixelRegion composed;
    for (const PixelRect& rect : rest)
        composed.add(rect);
    if (!composed.isEmpty())
        compose(composed, window, backdrop);
    groups_.keepOnly(tree);
    tree_ = nullptr;
}

void LayerPainter::paintPlainImage(const PresentedLayerPixels& layer,
                                   const std::vector<PixelRect>& rects,
                                   xcb_render_picture_t window) {
    PixelRect covered;
    const auto image = source(layer, covered);
    if (!image)
        return;
    setClip(window, 0, 0, rects);
    const PixelRect r = intersection(boundsOf(rects), covered);
    const auto opacity = layer.totalOpacity < 1
                             ? supplies_.solid(Color::white(0, layer.totalOpacity))
                             : static_cast<xcb_render_picture_t>(XCB_NONE);
    xcb_render_composite(server_->get(), XCB_RENDER_PICT_OP_SRC, image->picture, opacity, window,
                         s16(r.x - image->x), s16(r.y - image->y), 0, 0, s16(r.x), s16(r.y),
                         u16(r.width), u16(r.height));
}

void LayerPainter::compose(const PixelRegion& region, xcb_render_picture_t window,
                           const ServerPicture* backdrop) {
    if (!composed_ || composed_->width() != tree_->width || composed_->height() != tree_->height) {
        composed_ = std::make_unique<ServerPicture>(server_, ServerPicture::Kind::color,
                                                    tree_->width, tree_->height);
    }
    region_ = region.rects();
    const PixelRect bounds = region.bounds();
    const Canvas canvas{composed_->picture(), 0, 0, bounds, std::nullopt};
    setClip(canvas.picture, 0, 0, region_);
    if (backdrop != nullptr) {
        draw(XCB_RENDER_PICT_OP_SRC, {backdrop->picture(), 0, 0}, bounds, canvas);
    } else {
        clear(canvas);
    }
    if (!tree_->layers.empty())
        paintLayer(0, canvas);
    setClip(window, 0, 0, region_);
    draw(XCB_RENDER_PICT_OP_SRC, {canvas.picture, 0, 0}, bounds,
         {window, 0, 0, bounds, std::nullopt});
}

void LayerPainter::refresh(const PresentedTree& tree, const ServerPicture& backdrop,
                           const std::vector<PixelRect>& parts) {
    for (const PresentedLayerPixels& layer : tree.layers) {
        const Surface* surface = layer.surface();
        const PresentedLayerPixels& parent = tree.layers[layer.parent];
        if (surface == nullptr || !parent.style.masksToBounds ||
            surface->width() != parent.shape.width || surface->height() != parent.shape.height)
            continue;
        ServerPicture* picture = supplies_.contents(layer, tree.scale);
        if (picture == nullptr)
            continue;
        picture->setSampling(pixelByPixel, ServerPicture::Filter::nearest);
        for (const PixelRect& part : parts) {
            draw(XCB_RENDER_PICT_OP_SRC, {picture->picture(), parent.shape.x, parent.shape.y},
                 intersection(parent.shape, part),
                 {backdrop.picture(), 0, 0, tree.bounds(), std::nullopt});
        }
    }
}

void LayerPainter::paintLayer(std::size_t index, const Canvas& canvas) {
    const PresentedLayerPixels& layer = tree_->layers[index];
    const PixelRect extent = intersection(extentWithChildren(index), canvas.bounds);
    if (extent.isEmpty())
        return;
    if (layer.opacity == 1)
        return paintUngrouped(index, canvas);
    if (KeptGroups::isWorthKeeping(*tree_, index)) {
        const PixelRect whole = extentWithChildren(index);
        return blend({keptGroup(index, whole).picture(), whole.x, whole.y}, extent, layer.opacity,
                     canvas);
    }
    const Canvas group = beginGroup(extent);
    paintUngrouped(index, group);
    --openGroups_;
    blend({group.picture, group.x, group.y}, extent, layer.opacity, canvas);
}

const ServerPicture& LayerPainter::keptGroup(std::size_t index, const PixelRect& whole) {
    if (const ServerPicture* kept = groups_.find(*tree_, index))
        return *kept;
    auto made = std::make_unique<ServerPicture>(server_, ServerPicture::Kind::color, whole.width,
                                                whole.height);
    const ServerPicture& picture = *made;
    const auto region = std::exchange(region_, {whole});
    const Canvas canvas{picture.picture(), whole.x, whole.y, whole, std::nullopt};
    clear(canvas);
    paintUngrouped(index, canvas);
    region_ = region;
    groups_.keep(*tree_, index, std::move(made));
    return picture;
}

void LayerPainter::paintUngrouped(std::size_t index, const Canvas& canvas) {
    const PresentedLayerPixels& layer = tree_->layers[index];
    if (layer.hasShadow())
        paintShadow(layer, canvas);
    if (layer.hasBackground())
        fill(layer, 0, layer.style.backgroundColor, canvas);
    const RoundedClip clip{layer.shape, tree_->cornerRadius(layer)};
    if (!layer.style.masksToBounds || clip.radius <= 0 ||
        (!layer.hasContents() && layer.end == index + 1)) {
        paintInside(index, canvas);
    } else if (hasOnlyPlainChildren(index) && !canvas.clip) {
        Canvas clipped = canvas;
        clipped.clip = clip;
        paintInside(index, clipped);
    } else {
        const PixelRect bounds = intersection(layer.shape, canvas.bounds);
        if (!bounds.isEmpty()) {
            const Canvas group = beginGroup(bounds);
            paintInside(index, group);
            endRoundedGroup(group, canvas, clip);
        }
    }
    if (layer.hasBorder())
        fill(layer, tree_->borderWidth(layer), layer.style.borderColor, canvas);
}

void LayerPainter::paintInside(std::size_t index, const Canvas& canvas) {
    const PresentedLayerPixels& layer = tree_->layers[index];
    paintContents(layer, canvas);
    for (std::size_t child = index + 1; child < layer.end; child = tree_->layers[child].end)
        paintLayer(child, canvas);
}

void LayerPainter::paintShadow(const PresentedLayerPixels& layer, const Canvas& canvas) {
    const LayerShadow& shadow = layer.style.shadow;
    const double scale = tree_->scale;
    const double deviation = shadow.radius * scale;
    const int reach = static_cast<int>(std::ceil(shadowReach * deviation));
    const PixelRect& shape = layer.shape;
    const ServerPicture& mask =
        supplies_.shadow(shape.width, shape.height, tree_->cornerRadius(layer), deviation, reach);
    const int x = shape.x - reach + static_cast<int>(std::lround(shadow.offset.x * scale));
    const int y = shape.y - reach - static_cast<int>(std::lround(shadow.offset.y * scale));
    ShapeParts parts;
    parts.mask = &mask;
    parts.masked = {{{x, y, mask.width(), mask.height()}, 0, 0}};
    Color color = shadow.color;
    color.alpha *= shadow.opacity;
    draw({supplies_.solid(color), 0, 0}, parts, layer.clip, canvas);
}

void LayerPainter::paintContents(const PresentedLayerPixels& layer, const Canvas& canvas) {
    PixelRect covered;
    const auto picture = source(layer, covered);
    if (!picture)
        return;
    const PixelRect within = intersection(covered, layer.clip);
    if (canvas.clip)
        draw(*picture, supplies_.parts(canvas.clip->shape, canvas.clip->radius, 0), within, canvas);
    else
        draw(layer.surface() != nullptr ? XCB_RENDER_PICT_OP_SRC : XCB_RENDER_PICT_OP_OVER,
             *picture, within, canvas);
}

void LayerPainter::fill(const PresentedLayerPixels& layer, int border, const Color& color,
                        const Canvas& canvas) {
    xcb_connection_t* c = server_->get();
    const PixelRect within = intersection(layer.clip, canvas.bounds);
    ShapeParts parts = supplies_.parts(layer.shape, tree_->cornerRadius(layer), border);
    std::vector<xcb_rectangle_t> rects;
    for (const PixelRect& plain : parts.plain) {
        const PixelRect r = intersection(plain, within);
        if (!r.isEmpty()) {
            rects.push_back(
                {s16(r.x - canvas.x), s16(r.y - canvas.y), u16(r.width), u16(r.height)});
        }
    }
    if (!rects.empty()) {
        xcb_render_fill_rectangles(c, XCB_RENDER_PICT_OP_OVER, canvas.picture, premultiplied(color),
                                   static_cast<std::uint32_t>(rects.size()), rects.data());
    }
    std::erase_if(parts.masked,
                  [&](const auto& part) { return intersection(part.rect, within).isEmpty(); });
    if (parts.masked.empty())
        return;
    parts.plain.clear();
    draw({supplies_.solid(color), 0, 0}, parts, layer.clip, canvas);
}

LayerPainter::Canvas LayerPainter::beginGroup(const PixelRect& bounds) {
    if (scratch_.size() == openGroups_)
        scratch_.emplace_back();
    auto& pixmap = scratch_[openGroups_++];
    if (!pixmap || pixmap->width() < bounds.width || pixmap->height() < bounds.height) {
        pixmap =
            std::make_unique<ServerPicture>(server_, ServerPicture::Kind::color,
                                            std::max(bounds.width, pixmap ? pixmap->width() : 0),
                                            std::max(bounds.height, pixmap ? pixmap->height() : 0));
    }
    const Canvas canvas{pixmap->picture(), bounds.x, bounds.y, bounds, std::nullopt};
    setClip(canvas.picture, canvas.x, canvas.y, intersections(region_, {bounds}));
    clear(canvas);
    return canvas;
}

void LayerPainter::clear(const Canvas& canvas) {
    const PixelRect& r = canvas.bounds;
    const xcb_rectangle_t all{s16(r.x - canvas.x), s16(r.y - canvas.y), u16(r.width),
                              u16(r.height)};
    xcb_render_fill_rectangles(server_->get(), XCB_RENDER_PICT_OP_SRC, canvas.picture, {0, 0, 0, 0},
                               1, &all);
}

void LayerPainter::blend(const Source& source, const PixelRect& r, double opacity,
                         const Canvas& canvas) {
    xcb_render_composite(server_->get(), XCB_RENDER_PICT_OP_OVER, source.picture,
                         supplies_.solid(Color::white(0, opacity)), canvas.picture,
                         s16(r.x - source.x), s16(r.y - source.y), 0, 0, s16(r.x - canvas.x),
                         s16(r.y - canvas.y), u16(r.width), u16(r.height));
}

void LayerPainter::endRoundedGroup(const Canvas& group, const Canvas& canvas,
                                   const RoundedClip& clip) {
    --openGroups_;
    draw({group.picture, group.x, group.y}, supplies_.parts(clip.shape, clip.radius, 0),
         group.bounds, canvas);
}

std::optional<LayerPainter::Source> LayerPainter::source(const PresentedLayerPixels& layer,
                                                         PixelRect& covered) {
    ServerPicture* picture = supplies_.contents(layer, tree_->scale);
    if (picture == nullptr || layer.shape.isEmpty())
        return std::nullopt;
    Rect to = layer.frame;
    covered = layer.shape;
    const double width = picture->width();
    const double height = picture->height();
    const bool isSurface = layer.surface() != nullptr;
    if (!isSurface && layer.style.contentsGravity == ContentsGravity::resizeAspect) {
        const double factor = std::min(to.width / width, to.height / height);
        to = {to.x + (to.width - factor * width) / 2, to.y + (to.height - factor * height) / 2,
              factor * width, factor * height};
    }
    // A frame in its own size goes pixel by pixel; so does a picture that was made for the layer,
    // which may have been rounded up.
    const bool isOwnSize = isSurface
                               ? std::abs(to.width - width) < placeTolerance &&
                                     std::abs(to.height - height) < placeTolerance &&
                                     isWhole(to.x) && isWhole(to.y)
                               : std::abs(to.width - width) < 1 && std::abs(to.height - height) < 1;
    if (isOwnSize) {
        const int x = static_cast<int>(std::lround(to.x));
        const int y = static_cast<int>(std::lround(to.y));
        if (!isSurface)
            covered = {x, y, picture->width(), picture->height()};
        // Even where there is nothing to mix, the server takes its time for the other filter.
        picture->setSampling(pixelByPixel, ServerPicture::Filter::nearest);
        return Source{picture->picture(), x, y};
    }
    const PixelRect seen = intersection(layer.shape, layer.clip);
    const Axis x(to.x, to.width, picture->width(), seen.x + seen.width / 2.0);
    const Axis y(to.y, to.height, picture->height(), seen.y + seen.height / 2.0);
    const ContentsFilter filter =
        to.width > width ? layer.style.magnificationFilter : layer.style.minificationFilter;
    picture->setSampling({x.factor, 0, x.offset, 0, y.factor, y.offset, 0, 0, fixed(1)},
                         filter == ContentsFilter::linear ? ServerPicture::Filter::bilinear
                                                          : ServerPicture::Filter::nearest);
    return Source{picture->picture(), 0, 0};
}

void LayerPainter::draw(std::uint8_t op, const Source& source, const PixelRect& rect,
                        const Canvas& canvas) {
    const PixelRect r = intersection(rect, canvas.bounds);
    if (r.isEmpty())
        return;
    xcb_render_composite(server_->get(), op, source.picture, XCB_NONE, canvas.picture,
                         s16(r.x - source.x), s16(r.y - source.y), 0, 0, s16(r.x - canvas.x),
                         s16(r.y - canvas.y), u16(r.width), u16(r.height));
}

void LayerPainter::draw(const Source& source, const ShapeParts& parts, const PixelRect& within,
                        const Canvas& canvas) {
    for (const PixelRect& plain : parts.plain)
        draw(XCB_RENDER_PICT_OP_OVER, source, intersection(plain, within), canvas);
    for (const ShapeParts::Masked& part : parts.masked) {
        const PixelRect r = intersection(intersection(part.rect, within), canvas.bounds);
        if (r.isEmpty())
            continue;
        xcb_render_composite(server_->get(), XCB_RENDER_PICT_OP_OVER, source.picture,
                             parts.mask->picture(), canvas.picture, s16(r.x - source.x),
                             s16(r.y - source.y), s16(part.maskX + r.x - part.rect.x),
                             s16(part.maskY + r.y - part.rect.y), s16(r.x - canvas.x),
                             s16(r.y - canvas.y), u16(r.width), u16(r.height));
    }
}

void LayerPainter::setClip(xcb_render_picture_t picture, int x, int y,
                           const std::vector<PixelRect>& rects) {
    std::vector<xcb_rectangle_t> clip;
    clip.reserve(rects.size());
    for (const PixelRect& r : rects)
        clip.push_back({s16(r.x), s16(r.y), u16(r.width), u16(r.height)});
    xcb_render_set_picture_clip_rectangles(server_->get(), picture, s16(-x), s16(-y),
                                           static_cast<std::uint32_t>(clip.size()), clip.data());
}

PixelRect LayerPainter::extentWithChildren(std::size_t index) const {
    PixelRect all;
    for (std::size_t i = index; i < tree_->layers[index].end; ++i) {
        const PixelRect& extent = tree_->layers[i].extent;
        if (!extent.isEmpty())
            all = all.isEmpty() ? extent : bounding(all, extent);
    }
    return all;
}

bool LayerPainter::hasOnlyPlainChildren(std::size_t index) const {
    for (std::size_t i = index + 1; i < tree_->layers[index].end; ++i) {
        const PresentedLayerPixels& child = tree_->layers[i];
        if (child.hasBackground() || child.hasBorder() || child.hasShadow() ||
            child.style.masksToBounds || child.opacity < 1)
            return false;
    }
    return true;
}

} // namespace lentora::x11
