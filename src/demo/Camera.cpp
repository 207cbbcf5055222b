#include "demo/Camera.h"

#include "demo/Waiting.h"

#include <xcb/xfixes.h>

namespace lentora::demo {

using x11::XcbPtr;

namespace {

// `over` is premultiplied, as the server keeps it.
void blend(Pixel& below, std::uint32_t over) {
    const int uncovered = 255 - static_cast<int>(over >> 24);
    const auto channel = [&](std::uint8_t old, int shift) {
        const int added = static_cast<int>(over >> shift & 0xFF);
        return static_cast<std::uint8_t>(added + old * uncovered / 255);
    };
    below = {channel(below.red, 16), channel(below.green, 8), channel(below.blue, 0), 255};
}

} // namespace

Camera::Camera(const std::string& display) {
    std::string error;
    server_ = x11::Connection::open(display, error);
    if (!server_)
        throw Failure(error);
    xcb_connection_t* c = server_->get();
    const XcbPtr<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        c, xcb_xfixes_query_version(c, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION),
        nullptr));
}

Picture Camera::take(bool withPointer) const {
    xcb_connection_t* c = server_->get();
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const XcbPtr<xcb_get_image_reply_t> image(
        xcb_get_image_reply(c,
                            xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root, 0, 0,
                                          screen.width_in_pixels, screen.height_in_pixels, ~0U),
                            nullptr));
    if (!image)
        throw Failure("the private desktop is gone");
    Picture picture(screen.width_in_pixels, screen.height_in_pixels);
    const std::uint8_t* at = xcb_get_image_data(image.get());
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x, at += 4)
            picture.at(x, y) = {at[2], at[1], at[0], 255};
    }
    if (withPointer)
        drawPointer(picture);
    return picture;
}

void Camera::drawPointer(Picture& picture) const {
    xcb_connection_t* c = server_->get();
    const XcbPtr<xcb_xfixes_get_cursor_image_reply_t> cursor(
        xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr));
    if (!cursor)
        return;
    const std::uint32_t* pixel = xcb_xfixes_get_cursor_image_cursor_image(cursor.get());
    for (int row = 0; row < cursor->height; ++row) {
        for (int column = 0; column < cursor->width; ++column, ++pixel) {
            const int x = cursor->x - cursor->xhot + column;
            const int y = cursor->y - cursor->yhot + row;
            if (x >= 0 && y >= 0 && x < picture.width() && y < picture.height())
                blend(picture.at(x, y), *pixel);
        }
    }
}

double difference(const Picture& first, const Picture& second) {
    std::size_t changed = 0;
    for (std::size_t i = 0; i < first.pixels().size(); ++i)
        changed += first.pixels()[i] == second.pixels()[i] ? 0U : 1U;
    return static_cast<double>(changed) / static_cast<double>(first.pixels().size());
}

} // namespace lentora::demo
