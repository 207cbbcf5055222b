// How much room text takes with the platform's fonts.
#pragma once

#include "render/AttributedText.h"
#include "support/Rect.h"

namespace lentora {

class TextMeasurer {
public:
    virtual ~TextMeasurer() = default;

    /// The size in points of `text` when its lines are broken at words to be no wider than
    /// `widthLimit` points (infinite: only where a paragraph ends). Nothing for an empty text. A
    /// layer of this size, each measure rounded up, shows the text with the same line breaks.
    /// Main thread. Cannot fail; a font that is not there is replaced by another.
    virtual Size size(const AttributedText& text, double widthLimit) const = 0;
};

} // namespace lentora
