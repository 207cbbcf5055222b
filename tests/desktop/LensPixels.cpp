#include "desktop/LensPixels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace lentora::test {

namespace {

void put(const PaintingProgram& program, const Picture& picture, xcb_drawable_t drawable) {
    std::vector<std::uint8_t> bytes;
    for (const Pixel& p : picture.pixels())
        bytes.insert(bytes.end(), {p.blue, p.green, p.red, 0});
    const auto rowBytes = static_cast<std::size_t>(picture.width()) * 4;
    const xcb_gcontext_t gc = xcb_generate_id(program.get());
    xcb_create_gc(program.get(), gc, drawable, 0, nullptr);
    for (int row = 0; row < picture.height(); ++row) {
        xcb_put_image(program.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, gc,
                      static_cast<std::uint16_t>(picture.width()), 1, 0,
                      static_cast<std::int16_t>(row), 0, program.rootDepth(),
                      static_cast<std::uint32_t>(rowBytes),
                      bytes.data() + rowBytes * static_cast<std::size_t>(row));
    }
    xcb_free_gc(program.get(), gc);
}

// The picture between its pixels' centres.
std::array<double, 3> sample(const Picture& picture, double x, double y) {
    const auto at = [&](int column, int row) -> const Pixel& {
        return picture.at(std::clamp(column, 0, picture.width() - 1),
                          std::clamp(row, 0, picture.height() - 1));
    };
    const double left = std::floor(x - 0.5);
    const double top = std::floor(y - 0.5);
    const double right = x - 0.5 - left;
    const double bottom = y - 0.5 - top;
    const int i = static_cast<int>(left);
    const int j = static_cast<int>(top);
    std::array<double, 3> mixed{};
    const auto add = [&](const Pixel& p, double weight) {
        mixed[0] += weight * p.red;
        mixed[1] += weight * p.green;
        mixed[2] += weight * p.blue;
    };
    add(at(i, j), (1 - right) * (1 - bottom));
    add(at(i + 1, j), right * (1 - bottom));
    add(at(i, j + 1), (1 - right) * bottom);
    add(at(i + 1, j + 1), right * bottom);
    return mixed;
}

} // namespace

Picture noise(int width, int height) {
    Picture picture(width, height);
    std::uint32_t state = 1;
    const auto next = [&] {
        state = state * 1664525 + 1013904223;
        return static_cast<std::uint8_t>(state >> 24);
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            picture.at(x, y) = {next(), next(), next(), 255};
    }
    return picture;
}

Picture partOf(const Picture& whole, const x11::PixelRect& part) {
    Picture cut(part.width, part.height);
    for (int y = 0; y < part.height; ++y) {
        for (int x = 0; x < part.width; ++x)
            cut.at(x, y) = whole.at(part.x + x, part.y + y);
    }
    return cut;
}

std::unique_ptr<PaintedWindow> showPicture(const PaintingProgram& program, const Picture& picture,
                                           int x, int y) {
    const PixelRect frame{x, y, picture.width(), picture.height()};
    auto made = std::make_unique<PaintedWindow>(program, PaintedWindow::Look{.frame = frame});
    xcb_connection_t* c = program.get();
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, program.rootDepth(), pixmap, made->id(),
                      static_cast<std::uint16_t>(frame.width),
                      static_cast<std::uint16_t>(frame.height));
    put(program, picture, pixmap);
    xcb_change_window_attributes(c, made->id(), XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(c, 0, made->id(), 0, 0, 0, 0);
    xcb_free_pixmap(c, pixmap);
    program.finish();
    return made;
}

double worstInside(const Picture& seen, const Picture& window, Point focus, double zoom,
                   const LensShape& shape) {
    const auto isHidden = [&](int x, int y) {
        const bool isInCorner = std::min(x, seen.width() - 1 - x) < shape.corner &&
                                std::min(y, seen.height() - 1 - y) < shape.corner;
        return isInCorner || std::ranges::any_of(shape.hidden, [&](const PixelRect& part) {
                   return x >= part.x && x < part.maxX() && y >= part.y && y < part.maxY();
               });
    };
    double worst = 0;
    for (int y = shape.border; y < seen.height() - shape.border; ++y) {
        for (int x = shape.border; x < seen.width() - shape.border; ++x) {
            if (isHidden(x, y))
                continue;
            const auto expected = sample(window, focus.x + (x + 0.5 - focus.x) / zoom,
                                         focus.y + (y + 0.5 - focus.y) / zoom);
            const Pixel& p = seen.at(x, y);
            worst = std::max({worst, std::abs(p.red - expected[0]), std::abs(p.green - expected[1]),
                              std::abs(p.blue - expected[2])});
        }
    }
    return worst;
}

} // namespace lentora::test
