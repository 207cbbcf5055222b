#include "platform/x11/ComposedRegion.h"

#include "platform/x11/ProtocolNumbers.h"

#include <xcb/xfixes.h>

#include <algorithm>
#include <ranges>
#include <string_view>
#include <utility>

namespace lentora::x11 {

namespace {

xcb_render_fixed_t fixed(double value) {
    return static_cast<xcb_render_fixed_t>(value * 65536);
}

} // namespace

ComposedRegion::ComposedRegion(std::shared_ptr<const CaptureServer> server, const PixelRect& region,
                               int width, int height)
    : server_(std::move(server)), region_(region), width_(width), height_(height) {
    xcb_connection_t* c = server_->get();
    copying_ = xcb_generate_id(c);
    // Without this, the server would report every copy.
    const std::uint32_t exposures = 0;
    xcb_create_gc(c, copying_, server_->root(), XCB_GC_GRAPHICS_EXPOSURES, &exposures);
    if (width != region.width || height != region.height)
        makeUnscaled();
}

ComposedRegion::~ComposedRegion() {
    xcb_connection_t* c = server_->get();
    xcb_free_gc(c, copying_);
    if (isScaled()) {
        xcb_render_free_picture(c, unscaled_.picture);
        xcb_free_pixmap(c, unscaled_.drawable);
    }
}

void ComposedRegion::makeUnscaled() {
    xcb_connection_t* c = server_->get();
    const PictureFormat& format = server_->frameFormat();
    unscaled_ = {xcb_generate_id(c), xcb_generate_id(c)};
    xcb_create_pixmap(c, format.depth, unscaled_.drawable, server_->root(), u16(region_.width),
                      u16(region_.height));
    const std::uint32_t repeat = XCB_RENDER_REPEAT_PAD;
    xcb_render_create_picture(c, unscaled_.picture, unscaled_.drawable, format.id,
                              XCB_RENDER_CP_REPEAT, &repeat);
    const xcb_render_transform_t toRegion{fixed(static_cast<double>(region_.width) / width_),
                                          0,
                                          0,
                                          0,
                                          fixed(static_cast<double>(region_.height) / height_),
                                          0,
                                          0,
                                          0,
                                          fixed(1)};
    xcb_render_set_picture_transform(c, unscaled_.picture, toRegion);
    constexpr std::string_view filter = "bilinear";
    xcb_render_set_picture_filter(c, unscaled_.picture, filter.size(), filter.data(), 0, nullptr);
}

PixelRegion ComposedRegion::toTarget(const PixelRegion& damage) const {
    if (!isScaled())
        return damage;
    // The filter mixes neighbours: a pixel reaches one further to each side.
    const auto begin = [](int value, int to, int from) {
        return static_cast<int>((std::int64_t{value} - 1) * to / from) - 1;
    };
    const auto end = [](int value, int to, int from) {
        return static_cast<int>((std::int64_t{value} + 1) * to / from) + 2;
    };
    PixelRegion scaled;
    for (const PixelRect& rect : damage.rects()) {
        const int left = begin(rect.x, width_, region_.width);
        const int top = begin(rect.y, height_, region_.height);
        const PixelRect reached{left, top, end(rect.maxX(), width_, region_.width) - left,
                                end(rect.maxY(), height_, region_.height) - top};
        scaled.add(intersection(reached, {0, 0, width_, height_}));
    }
    return scaled;
}

void ComposedRegion::paint(const Target& target, const WindowLayers& layers,
                           const PixelRegion& damage, const PixelRegion& stale) {
    if (!isScaled()) {
        PixelRegion all = stale;
        all.add(damage);
        for (const PixelRect& rect : all.rects())
            paintRect(target, layers, rect);
        return;
    }
    for (const PixelRect& rect : damage.rects())
        paintRect(unscaled_, layers, rect);
    PixelRegion all = stale;
    all.add(toTarget(damage));
    for (const PixelRect& r : all.rects()) {
        xcb_render_composite(server_->get(), XCB_RENDER_PICT_OP_SRC, unscaled_.picture, XCB_NONE,
                             target.picture, s16(r.x), s16(r.y), 0, 0, s16(r.x), s16(r.y),
                             u16(r.width), u16(r.height));
    }
}

// One rectangle after the other, so that rectangles that overlap do no harm to what is translucent,
// and each begins with the topmost window that hides all below.
void ComposedRegion::paintRect(const Target& target, const WindowLayers& layers,
                               const PixelRect& rect) {
    const PixelRect onRoot = rect.translated(region_.x, region_.y);
    const auto hidesRest = [&](const CapturedWindow* window) {
        return window->isOpaque() && window->bounds().contains(onRoot);
    };
    const auto lowest =
        std::ranges::find_if(layers.windows.rbegin(), layers.windows.rend(), hidesRest);
    auto next = layers.windows.begin();
    if (lowest != layers.windows.rend())
        next = lowest.base() - 1;
    else
        paintBackground(target, layers, rect);
    for (; next != layers.windows.end(); ++next) {
        const PixelRect part = intersection((*next)->bounds(), onRoot);
        if (!part.isEmpty())
            paintWindow(target, **next, part.translated(-region_.x, -region_.y));
    }
}

void ComposedRegion::paintBackground(const Target& target, const WindowLayers& layers,
                                     const PixelRect& rect) {
    xcb_connection_t* c = server_->get();
    if (layers.background == XCB_NONE) {
        const xcb_rectangle_t area{s16(rect.x), s16(rect.y), u16(rect.width), u16(rect.height)};
        xcb_render_fill_rectangles(c, XCB_RENDER_PICT_OP_SRC, target.picture, {0, 0, 0, 0xFFFF}, 1,
                                   &area);
        return;
    }
    xcb_render_composite(c, XCB_RENDER_PICT_OP_SRC, layers.background, XCB_NONE, target.picture,
                         s16(rect.x + region_.x), s16(rect.y + region_.y), 0, 0, s16(rect.x),
                         s16(rect.y), u16(rect.width), u16(rect.height));
}

void ComposedRegion::paintWindow(const Target& target, const CapturedWindow& window,
                                 const PixelRect& rect) {
    xcb_connection_t* c = server_->get();
    const int left = window.bounds().x - region_.x;
    const int top = window.bounds().y - region_.y;
    if (window.isOpaque() && window.format().id == server_->frameFormat().id) {
        xcb_copy_area(c, window.pixmap(), target.drawable, copying_, s16(rect.x - left),
                      s16(rect.y - top), s16(rect.x), s16(rect.y), u16(rect.width),
                      u16(rect.height));
        return;
    }
    if (window.shape() != XCB_NONE) {
        xcb_xfixes_set_picture_clip_region(c, target.picture, window.shape(),
                                           s16(left + window.border()), s16(top + window.border()));
    }
    const bool isMixed = window.format().hasAlpha || window.mask() != XCB_NONE;
    xcb_render_composite(c, isMixed ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC,
                         window.picture(), window.mask(), target.picture, s16(rect.x - left),
                         s16(rect.y - top), 0, 0, s16(rect.x), s16(rect.y), u16(rect.width),
                         u16(rect.height));
    if (window.shape() != XCB_NONE)
        xcb_xfixes_set_picture_clip_region(c, target.picture, XCB_NONE, 0, 0);
}

} // namespace lentora::x11
