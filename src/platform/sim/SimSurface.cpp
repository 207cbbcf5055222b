#include "platform/sim/SimSurface.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

namespace lentora::sim {

namespace {

std::uint8_t mixed(std::uint8_t over, std::uint8_t under, double alpha) {
    return static_cast<std::uint8_t>(std::lround(over * alpha + under * (1 - alpha)));
}

// The pixels of one row or column whose centres lie between two edges: [first, second).
std::pair<int, int> pixelsBetween(double from, double to, double length, int count) {
    const auto edge = [&](double at) {
        const double pixel = std::ceil(at / length * count - 0.5);
        return static_cast<int>(std::clamp(pixel, 0.0, static_cast<double>(count)));
    };
    return {edge(from), edge(to)};
}

} // namespace

Pixel pixelOf(std::string_view text) {
    std::uint32_t value = 0;
    if (text.size() == 7 && text[0] == '#')
        std::from_chars(text.data() + 1, text.data() + text.size(), value, 16);
    return {static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value), 0xFF};
}

SimSurface::SimSurface(int width, int height, const Rect& source, std::vector<Patch> patches)
    : width_(width), height_(height), source_(source), patches_(std::move(patches)) {}

Picture SimSurface::picture() const {
    Picture picture(width_, height_, desktopColor);
    // A source of no size shows nothing but the desktop.
    if (!(source_.width > 0 && source_.height > 0))
        return picture;
    for (const Patch& patch : patches_) {
        const auto [left, right] = pixelsBetween(
            patch.rect.x - source_.x, patch.rect.maxX() - source_.x, source_.width, width_);
        const auto [top, bottom] = pixelsBetween(
            patch.rect.y - source_.y, patch.rect.maxY() - source_.y, source_.height, height_);
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) {
                Pixel& pixel = picture.at(x, y);
                pixel = {mixed(patch.color.red, pixel.red, patch.alpha),
                         mixed(patch.color.green, pixel.green, patch.alpha),
                         mixed(patch.color.blue, pixel.blue, patch.alpha), 0xFF};
            }
        }
    }
    return picture;
}

} // namespace lentora::sim
