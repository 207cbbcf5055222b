// What a lens is to show, pixel by pixel: a window with a picture that is never the same at two
// places, and the same picture under a zoom.
#pragma once

#include "desktop/PaintedWindow.h"
#include "support/Picture.h"
#include "support/Rect.h"

#include <memory>
#include <vector>

namespace lentora::test {

/// What the server's filter may be off: it counts in 128ths of a pixel.
inline constexpr double filterTolerance = 6;

/// Noise: every pixel differs from its neighbours. The same every time.
Picture noise(int width, int height);

Picture partOf(const Picture& whole, const x11::PixelRect& part);

/// A window that shows `picture`. The server paints it itself wherever it gets lost.
std::unique_ptr<PaintedWindow> showPicture(const PaintingProgram& program, const Picture& picture,
                                           int x, int y);

/// How a lens lies on the screen. Lengths in pixels.
struct LensShape {
    /// The border and the round corners.
    int border = 2;
    int corner = 10;
    /// What is in front of the lens, from its top-left corner.
    std::vector<PixelRect> hidden;
};

/// The largest difference of a colour between what is seen inside the lens's border and the
/// window's picture at the places that the zoom about `focus` (pixels from the top left) puts
/// there.
double worstInside(const Picture& seen, const Picture& window, Point focus, double zoom,
                   const LensShape& shape = {});

} // namespace lentora::test
