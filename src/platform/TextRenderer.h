// Text as a picture, with the platform's fonts.
#pragma once

#include "render/AttributedText.h"
#include "support/Picture.h"

namespace lentora {

class TextRenderer {
public:
    virtual ~TextRenderer() = default;

    /// A picture of `width` x `height` pixels, `scale` of them a point, with `text` on nothing. It
    /// begins at the top-left corner and its lines break at the picture's width, in the places
    /// where the platform's TextMeasurer breaks them for that width. Main thread. Empty, where a
    /// picture of that size cannot be made.
    virtual Picture render(const AttributedText& text, int width, int height,
                           double scale) const = 0;
};

} // namespace lentora
