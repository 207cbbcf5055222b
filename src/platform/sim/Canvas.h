// Painting on a picture: blending, clips, and groups that become part of the picture as one.
#pragma once

#include "render/Color.h"
#include "render/Shapes.h"
#include "support/Picture.h"
#include "support/Rect.h"

#include <vector>

namespace lentora::sim {

/// What is painted on one pixel: a premultiplied colour, components from 0 to 1.
struct Shade {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 0;

    Shade() = default;
    Shade(double r, double g, double b, double a) : red(r), green(g), blue(b), alpha(a) {}
    /// Of `color`, on a part of the pixel.
    Shade(const Color& color, double part)
        : Shade(Shade{color.red, color.green, color.blue, 1}.times(color.alpha * part)) {}
    explicit Shade(const Pixel& pixel)
        : Shade(pixel.red / 255.0, pixel.green / 255.0, pixel.blue / 255.0, pixel.alpha / 255.0) {}

    Shade times(double factor) const {
        return {red * factor, green * factor, blue * factor, alpha * factor};
    }
    Shade plus(const Shade& other) const {
        return {red + other.red, green + other.green, blue + other.blue, alpha + other.alpha};
    }
};

/// The pixels of `picture` at the point `at` of its own grid; outside, its edge goes on.
Shade linearSample(const Picture& picture, Point at);
Shade nearestSample(const Picture& picture, Point at);

/// Puts `shade` over `pixel`.
void blend(Pixel& pixel, const Shade& shade);

class Canvas {
public:
    /// `picture` outlives the canvas.
    explicit Canvas(Picture& picture) : picture_(picture) {}

    /// Asks `shader` for the shade of every pixel that touches `bounds`, by its centre.
    template <typename Shader>
    void paint(const Rect& bounds, const Shader& shader) {
        const PixelRange range = rangeOf(bounds);
        Picture& picture = target();
        for (int y = range.top; y < range.bottom; ++y) {
            for (int x = range.left; x < range.right; ++x) {
                const Point center{x + 0.5, y + 0.5};
                const double visible = clipCoverage(center);
                if (visible > 0)
                    blend(picture.at(x, y), shader(center).times(visible));
            }
        }
    }

    /// Until it is popped, paint stays inside of `shape`.
    void pushClip(const RoundedRect& shape) { clips_.push_back(shape); }
    void popClip() { clips_.pop_back(); }

    /// What is painted until the group ends becomes part of the picture as one.
    void beginGroup() { groups_.emplace_back(picture_.width(), picture_.height()); }
    void endGroup(double opacity);

private:
    struct PixelRange {
        int left;
        int top;
        int right;
        int bottom;
    };

    Picture& target() { return groups_.empty() ? picture_ : groups_.back(); }
    PixelRange rangeOf(const Rect& bounds) const;
    double clipCoverage(Point center) const;

    Picture& picture_;
    std::vector<RoundedRect> clips_;
    std::vector<Picture> groups_;
};

} // namespace lentora::sim
