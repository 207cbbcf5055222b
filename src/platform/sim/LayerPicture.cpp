#include "platform/sim/LayerPicture.h"

#include "platform/sim/BlockFont.h"
#include "platform/sim/Canvas.h"
#include "platform/sim/PixelSource.h"
#include "platform/sim/TextLayout.h"
#include "render/LayerVisitor.h"
#include "render/Shapes.h"

#include <memory>
#include <variant>
#include <vector>

namespace lentora::sim {

namespace {

// A block letter in its em box.
constexpr double letterSquare = 0.15;
// Samples in each direction for the coverage of a pixel by a letter.
constexpr int letterSamples = 4;

Rect grown(const Rect& rect, double margin) {
    return {rect.x - margin, rect.y - margin, rect.width + 2 * margin, rect.height + 2 * margin};
}

// Where contents of that size go in a layer.
Rect placed(const Rect& frame, ContentsGravity gravity, double width, double height) {
    if (gravity == ContentsGravity::resize)
        return frame;
    const double factor = std::min(frame.width / width, frame.height / height);
    const Size size{factor * width, factor * height};
    return {frame.x + (frame.width - size.width) / 2, frame.y + (frame.height - size.height) / 2,
            size.width, size.height};
}

class LayerDrawing final : public LayerVisitor {
public:
    LayerDrawing(const Rect& region, Picture& picture)
        : region_(region), scale_(picture.width() / region.width), canvas_(picture) {}

    void enter(const PresentedLayer& presented) override {
        const LayerStyle& style = presented.layer.style();
        const RoundedRect shape = shapeOf(presented);
        if (presented.opacity < 1)
            canvas_.beginGroup();
        drawShadow(style.shadow, shape);
        if (style.backgroundColor.alpha > 0) {
            canvas_.paint(shape.rect,
                          [&](Point p) { return Shade(style.backgroundColor, shape.coverage(p)); });
        }
        if (style.masksToBounds)
            canvas_.pushClip(shape);
        drawContents(presented.layer, shape.rect);
    }

    void leave(const PresentedLayer& presented) override {
        const LayerStyle& style = presented.layer.style();
        if (style.masksToBounds)
            canvas_.popClip();
        if (style.borderWidth > 0) {
            const RoundedRect outer = shapeOf(presented);
            const RoundedRect inner = outer.inset(style.borderWidth * scale_);
            canvas_.paint(outer.rect, [&](Point p) {
                return Shade(style.borderColor, outer.coverage(p) - inner.coverage(p));
            });
        }
        if (presented.opacity < 1)
            canvas_.endGroup(presented.opacity);
    }

private:
    Rect toPixels(const Rect& frame) const {
        return {(frame.x - region_.x) * scale_, (region_.maxY() - frame.maxY()) * scale_,
                frame.width * scale_, frame.height * scale_};
    }

    RoundedRect shapeOf(const PresentedLayer& presented) const {
        return {toPixels(presented.frame), presented.layer.style().cornerRadius * scale_};
    }

    void drawShadow(const LayerShadow& shadow, RoundedRect shape) {
        if (!(shadow.opacity > 0))
            return;
        shape.rect.x += shadow.offset.x * scale_;
        shape.rect.y -= shadow.offset.y * scale_;
        const double deviation = shadow.radius * scale_;
        canvas_.paint(grown(shape.rect, shadowReach * deviation), [&](Point p) {
            return Shade(shadow.color, shadow.opacity * shape.shadowCoverage(p, deviation));
        });
    }

    void drawContents(const Layer& layer, const Rect& frame) {
        const LayerContents& contents = layer.contents();
        if (const auto* surface = std::get_if<std::shared_ptr<const Surface>>(&contents)) {
            if (const auto* source = dynamic_cast<const PixelSource*>(surface->get()))
                drawPicture(source->picture(), frame, layer.style());
        } else if (const auto* picture = std::get_if<std::shared_ptr<const Picture>>(&contents)) {
            drawPicture(**picture, frame, layer.style());
        } else if (const auto* text =
                       std::get_if<std::shared_ptr<const AttributedText>>(&contents)) {
            drawText(**text, frame);
        }
    }

    void drawPicture(const Picture& source, const Rect& frame, const LayerStyle& style) {
        const Rect to = placed(frame, style.contentsGravity, source.width(), source.height());
        if (source.isEmpty() || !(to.width > 0 && to.height > 0))
            return;
        const ContentsFilter filter =
            to.width > source.width() ? style.magnificationFilter : style.minificationFilter;
        const RoundedRect shape{to, 0};
        canvas_.paint(to, [&](Point p) {
            const Point at{(p.x - to.x) / to.width * source.width(),
                           (p.y - to.y) / to.height * source.height()};
            const Shade shade = filter == ContentsFilter::linear ? linearSample(source, at)
                                                                 : nearestSample(source, at);
            return shade.times(shape.coverage(p));
        });
    }

    void drawText(const AttributedText& text, const Rect& frame) {
        for (const PlacedCharacter& character : layOut(text, frame.width / scale_).characters) {
            const double square = letterSquare * character.em * scale_;
            const Rect letter{frame.x + character.corner.x * scale_,
                              frame.y + character.corner.y * scale_, blockFontColumns * square,
                              blockFontRows * square};
            canvas_.paint(letter, [&](Point p) {
                return Shade(character.color, letterCoverage(character.codePoint, p, letter));
            });
        }
    }

    static double letterCoverage(char32_t codePoint, Point pixel, const Rect& letter) {
        int hits = 0;
        for (int i = 0; i < letterSamples; ++i) {
            for (int j = 0; j < letterSamples; ++j) {
                const Point sample{pixel.x - 0.5 + (i + 0.5) / letterSamples,
                                   pixel.y - 0.5 + (j + 0.5) / letterSamples};
                if (!letter.contains(sample))
                    continue;
                const auto column =
                    static_cast<int>((sample.x - letter.x) / letter.width * blockFontColumns);
                const auto row =
                    static_cast<int>((sample.y - letter.y) / letter.height * blockFontRows);
                hits += isFilled(codePoint, column, row) ? 1 : 0;
            }
        }
        return static_cast<double>(hits) / (letterSamples * letterSamples);
    }

    const Rect region_;
    const double scale_;
    Canvas canvas_;
};

} // namespace

void drawLayers(const Layer& root, double time, const Rect& region, Picture& picture) {
    if (picture.isEmpty() || !(region.width > 0))
        return;
    LayerDrawing drawing(region, picture);
    visitLayers(root, time, drawing);
}

} // namespace lentora::sim
