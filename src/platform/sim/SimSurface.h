// A frame of a simulated capture stream. It remembers what was to be seen when it was taken, and
// draws that when somebody asks for its pixels. Few do, so long replays stay cheap.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/sim/PixelSource.h"
#include "support/Picture.h"
#include "support/Rect.h"

#include <string_view>
#include <vector>

namespace lentora::sim {

/// What the desktop shows where no window is.
inline constexpr Pixel desktopColor{0x1E, 0x3A, 0x5F, 0xFF};

/// Of "#rrggbb"; black where it is none.
Pixel pixelOf(std::string_view text);

class SimSurface final : public Surface, public PixelSource {
public:
    /// A rectangle of one colour, in the source's space.
    struct Patch {
        Rect rect;
        Pixel color;
        /// 0 … 1
        double alpha = 1;
    };

    /// `source` is the part of the desktop that fills the picture; the patches lie on it from back
    /// to front.
    SimSurface(int width, int height, const Rect& source, std::vector<Patch> patches);

    int width() const override { return width_; }
    int height() const override { return height_; }

    /// Draws it. A pixel shows what is at its centre.
    Picture picture() const override;

private:
    const int width_;
    const int height_;
    const Rect source_;
    const std::vector<Patch> patches_;
};

} // namespace lentora::sim
