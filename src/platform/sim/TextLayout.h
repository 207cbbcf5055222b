// Text on the simulated desktop. It has fixed measures, so that layouts can be checked: every code
// point is 0.6 em wide, a line is 1.2 em high (of its largest font), lines break at blanks, and
// below a line come its line spacing and, where its paragraph ends and another follows, its
// paragraph spacing.
#pragma once

#include "platform/TextMeasurer.h"
#include "render/AttributedText.h"
#include "support/Rect.h"

#include <vector>

namespace lentora::sim {

struct PlacedCharacter {
    char32_t codePoint = 0;
    /// The top-left corner of its em box, from the top-left corner of the text, y down. Points.
    Point corner;
    /// The font's size.
    double em = 0;
    Color color;
};

struct TextLayout {
    /// Without line feeds.
    std::vector<PlacedCharacter> characters;
    Size size;
};

/// A word that is wider than `widthLimit` has a line of its own and sticks out. Blanks at which a
/// line breaks stay at its end and do not count.
TextLayout layOut(const AttributedText& text, double widthLimit);

class SimTextMeasurer final : public TextMeasurer {
public:
    Size size(const AttributedText& text, double widthLimit) const override {
        return layOut(text, widthLimit).size;
    }
};

} // namespace lentora::sim
