// A picture in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lentora {

/// One pixel of 8 bits a channel, premultiplied: no colour is larger than alpha.
struct Pixel {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 0;

    bool operator==(const Pixel&) const = default;
};

/// A rectangle of pixels, the first row on top.
class Picture {
public:
    Picture() = default;
    /// Every pixel is `fill`. Neither measure is negative.
    Picture(int width, int height, Pixel fill = {})
        : width_(width), height_(height),
          pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), fill) {}

    int width() const { return width_; }
    int height() const { return height_; }
    bool isEmpty() const { return pixels_.empty(); }

    /// `x` and `y` lie inside.
    Pixel& at(int x, int y) { return pixels_[index(x, y)]; }
    const Pixel& at(int x, int y) const { return pixels_[index(x, y)]; }

    /// Row after row, without gaps.
    const std::vector<Pixel>& pixels() const { return pixels_; }

    bool operator==(const Picture&) const = default;

private:
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(x);
    }

    int width_ = 0;
    int height_ = 0;
    std::vector<Pixel> pixels_;
};

} // namespace lentora
