// Text with the desktop's fonts: how much room it takes, and its picture.
//
// A layout is made of points, without hinting, so that it is the same at every scale: what was
// measured is what is drawn.
#pragma once

#include "platform/TextMeasurer.h"
#include "platform/TextRenderer.h"

namespace lentora::qt {

/// A QGuiApplication exists. Main thread.
class QtTextMeasurer final : public TextMeasurer {
public:
    Size size(const AttributedText& text, double widthLimit) const override;
};

/// Likewise.
class QtTextRenderer final : public TextRenderer {
public:
    Picture render(const AttributedText& text, int width, int height, double scale) const override;
};

} // namespace lentora::qt
