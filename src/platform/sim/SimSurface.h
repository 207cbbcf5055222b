// A frame of a simulated capture stream. It remembers what was to be seen when it was taken, and
// draws that when somebody asks for its pixels. Few do, so long replays stay cheap.
#pragma once

#include "platform/CaptureStreams.h"
#include "support/Rect.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace lentora::sim {

struct Color {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    /// From "#rrggbb"; black where it is none.
    static Color fromText(std::string_view text);

    bool operator==(const Color&) const = default;
};

/// What the desktop shows where no window is.
inline constexpr Color desktopColor{0x1E, 0x3A, 0x5F};

struct Picture {
    int width = 0;
    int height = 0;
    /// Row by row, from the top left.
    std::vector<Color> pixels;

    Color at(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
};

class SimSurface final : public Surface {
public:
    /// A rectangle of one colour, in the source's space.
    struct Patch {
        Rect rect;
        Color color;
        /// 0 … 1
        double alpha = 1;
    };

    /// `source` is the part of the desktop that fills the picture; the patches lie on it from back
    /// to front.
    SimSurface(int width, int height, const Rect& source, std::vector<Patch> patches);

    int width() const override { return width_; }
    int height() const override { return height_; }

    /// Draws it. A pixel shows what is at its centre.
    Picture picture() const;

private:
    const int width_;
    const int height_;
    const Rect source_;
    const std::vector<Patch> patches_;
};

} // namespace lentora::sim
