#include "platform/x11/PaintSupplies.h"

#include "platform/x11/X11Surface.h"
#include "render/Shapes.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <variant>

namespace lentora::x11 {

namespace {

// Beyond this many, masks are made anew. There is one for each kind of layer and scale.
constexpr std::size_t maxMasks = 32;
constexpr std::size_t maxSolids = 32;

template <typename AlphaAt>
Mask maskOf(int width, int height, const AlphaAt& alphaAt) {
    Mask mask{width, height, {}};
    mask.alpha.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double alpha = std::clamp(alphaAt(Point{x + 0.5, y + 0.5}), 0.0, 1.0);
            mask.alpha.push_back(static_cast<std::uint8_t>(std::lround(alpha * 255)));
        }
    }
    return mask;
}

std::uint16_t channel(double value) {
    return static_cast<std::uint16_t>(std::lround(std::clamp(value, 0.0, 1.0) * 0xFFFF));
}

Rect sized(int width, int height) {
    return {0, 0, static_cast<double>(width), static_cast<double>(height)};
}

const void* address(const LayerContents& contents) {
    return std::visit(
        [](const auto& held) -> const void* {
            if constexpr (requires { held.get(); })
                return held.get();
            else
                return nullptr;
        },
        contents);
}

std::weak_ptr<const void> weak(const LayerContents& contents) {
    return std::visit(
        [](const auto& held) -> std::weak_ptr<const void> {
            if constexpr (requires { held.get(); })
                return std::shared_ptr<const void>(held);
            else
                return {};
        },
        contents);
}

} // namespace

xcb_render_color_t premultiplied(const Color& color) {
    return {channel(color.red * color.alpha), channel(color.green * color.alpha),
            channel(color.blue * color.alpha), channel(color.alpha)};
}

ShapeParts PaintSupplies::parts(const PixelRect& shape, double radius, int border) {
    ShapeParts parts;
    const PixelRect& r = shape;
    if (r.isEmpty())
        return parts;
    const int corner = std::max(static_cast<int>(std::ceil(radius)), border);
    if (radius > 0 && 2 * corner >= std::min(r.width, r.height)) {
        parts.masked = {{r, 0, 0}};
        parts.mask = &shapeMask(r.width, r.height, radius, border);
        return parts;
    }
    if (border > 0 && 2 * border < std::min(r.width, r.height)) {
        parts.plain = {
            {r.x + corner, r.y, r.width - 2 * corner, border},
            {r.x, r.y + corner, border, r.height - 2 * corner},
            {r.maxX() - border, r.y + corner, border, r.height - 2 * corner},
            {r.x + corner, r.maxY() - border, r.width - 2 * corner, border},
        };
    } else {
        parts.plain = withoutCorners(r, corner);
    }
    if (corner == 0)
        return parts;
    parts.mask = &shapeMask(2 * corner, 2 * corner, radius, border);
    parts.masked = {{{r.x, r.y, corner, corner}, 0, 0},
                    {{r.maxX() - corner, r.y, corner, corner}, corner, 0},
                    {{r.x, r.maxY() - corner, corner, corner}, 0, corner},
                    {{r.maxX() - corner, r.maxY() - corner, corner, corner}, corner, corner}};
    return parts;
}

const ServerPicture& PaintSupplies::shapeMask(int width, int height, double radius, int border) {
    if (shapes_.size() > maxMasks)
        shapes_.clear();
    auto& kept = shapes_[{width, height, radius, border}];
    if (!kept) {
        const RoundedRect outer{sized(width, height), radius};
        const RoundedRect inner = outer.inset(border);
        kept = upload(server_, maskOf(width, height, [&](Point p) {
                          return outer.coverage(p) - (border > 0 ? inner.coverage(p) : 0);
                      }));
    }
    return *kept;
}

const ServerPicture& PaintSupplies::shadow(int width, int height, double radius, double deviation,
                                           int reach) {
    if (shadows_.size() > maxMasks)
        shadows_.clear();
    auto& kept = shadows_[{width, height, radius, deviation}];
    if (!kept) {
        Rect rect = sized(width, height);
        rect.x += reach;
        rect.y += reach;
        const RoundedRect shape{rect, radius};
        kept = upload(server_, maskOf(width + 2 * reach, height + 2 * reach,
                                      [&](Point p) { return shape.shadowCoverage(p, deviation); }));
    }
    return *kept;
}

ServerPicture* PaintSupplies::contents(const PresentedLayerPixels& layer, double scale) {
    if (const auto* text = std::get_if<std::shared_ptr<const AttributedText>>(&layer.contents))
        return *text == nullptr ? nullptr : textOf(layer, *text, scale);
    const void* key = address(layer.contents);
    if (key == nullptr)
        return nullptr;
    Kept& kept = contents_[key];
    // At the place of something that is gone, something else may be now.
    if (kept.contents.expired())
        kept = {weak(layer.contents), made(layer)};
    return kept.picture.get();
}

// The percentage changes with every movement of a pinch; a few digits are all that differs then.
ServerPicture* PaintSupplies::textOf(const PresentedLayerPixels& layer,
                                     const std::shared_ptr<const AttributedText>& text,
                                     double scale) {
    KeptText& kept = texts_[layer.layer];
    const int width = layer.shape.width;
    const int height = layer.shape.height;
    const bool fits =
        kept.picture && kept.picture->width() == width && kept.picture->height() == height;
    if (fits && kept.scale == scale && kept.text.lock() == text)
        return kept.picture.get();
    Picture pixels = text_.render(*text, width, height, scale);
    if (pixels.isEmpty())
        kept.picture.reset();
    else if (fits)
        update(*server_, *kept.picture, kept.pixels, pixels);
    else
        kept.picture = upload(server_, pixels);
    kept.text = text;
    kept.scale = scale;
    kept.pixels = std::move(pixels);
    return kept.picture.get();
}

std::unique_ptr<ServerPicture> PaintSupplies::made(const PresentedLayerPixels& layer) const {
    if (const auto* surface = dynamic_cast<const X11Surface*>(layer.surface())) {
        surface->awaitDrawn(server_->connection());
        return std::make_unique<ServerPicture>(server_, surface->pixmap(), surface->format().id,
                                               surface->width(), surface->height());
    }
    const auto* picture = std::get_if<std::shared_ptr<const Picture>>(&layer.contents);
    return picture == nullptr || (*picture)->isEmpty() ? nullptr : upload(server_, **picture);
}

xcb_render_picture_t PaintSupplies::solid(const Color& color) {
    // Fades have many, and use each once.
    if (solids_.size() > maxSolids)
        solids_.clear();
    const auto [entry, isNew] = solids_.try_emplace(
        {color.red, color.green, color.blue, color.alpha}, server_, premultiplied(color));
    return entry->second.picture();
}

void PaintSupplies::forgetContentsThatAreGone() {
    std::erase_if(contents_, [](const auto& entry) { return entry.second.contents.expired(); });
    std::erase_if(texts_, [](const auto& entry) { return entry.second.text.expired(); });
}

} // namespace lentora::x11
