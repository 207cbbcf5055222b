#include "desktop/PaintedWindow.h"

#include <gtest/gtest.h>
#include <xcb/shape.h>

#include <array>
#include <cstring>

namespace lentora::test {

namespace {

using x11::XcbPtr;

std::int16_t s16(int value) {
    return static_cast<std::int16_t>(value);
}

std::uint16_t u16(int value) {
    return static_cast<std::uint16_t>(value);
}

} // namespace

PaintingProgram::PaintingProgram(const std::string& display) {
    std::string error;
    connection_ = x11::Connection::open(display, error);
    if (!connection_)
        throw std::runtime_error(error);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(get())).data;
    rootDepth_ = screen->root_depth;
    for (auto depths = xcb_screen_allowed_depths_iterator(screen); depths.rem > 0;
         xcb_depth_next(&depths)) {
        if (depths.data->depth == 32 && xcb_depth_visuals_length(depths.data) > 0)
            alphaVisual_ = xcb_depth_visuals(depths.data)->visual_id;
    }
    alphaColours_ = xcb_generate_id(get());
    xcb_create_colormap(get(), XCB_COLORMAP_ALLOC_NONE, alphaColours_, root(), alphaVisual_);
}

void PaintingProgram::finish() const {
    const XcbPtr<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(get(), xcb_get_input_focus(get()), nullptr));
}

xcb_atom_t PaintingProgram::atom(const std::string& name) const {
    const XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        get(), xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
        nullptr));
    return reply->atom;
}

Colour PaintingProgram::pixel(xcb_drawable_t drawable, int x, int y) const {
    const XcbPtr<xcb_get_image_reply_t> image(xcb_get_image_reply(
        get(), xcb_get_image(get(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, s16(x), s16(y), 1, 1, ~0U),
        nullptr));
    if (!image || xcb_get_image_data_length(image.get()) < 4) {
        ADD_FAILURE() << "no pixel at " << x << "," << y;
        return 0;
    }
    Colour colour = 0;
    std::memcpy(&colour, xcb_get_image_data(image.get()), sizeof colour);
    return colour & 0xFFFFFF;
}

void PaintingProgram::setRootPixmap(xcb_pixmap_t pixmap) const {
    xcb_change_property(get(), XCB_PROP_MODE_REPLACE, root(), atom("_XROOTPMAP_ID"),
                        XCB_ATOM_PIXMAP, 32, 1, &pixmap);
    finish();
}

PaintedWindow::PaintedWindow(const PaintingProgram& program, const Look& look)
    : program_(program), id_(look.id == XCB_NONE ? xcb_generate_id(program.get()) : look.id),
      gc_(xcb_generate_id(program.get())) {
    xcb_connection_t* c = program.get();
    const std::uint32_t mask = (look.hasNoBackground ? XCB_CW_BACK_PIXMAP : XCB_CW_BACK_PIXEL) |
                               XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT |
                               (look.hasAlpha ? std::uint32_t{XCB_CW_COLORMAP} : 0U);
    const std::array<std::uint32_t, 4> values{look.hasNoBackground ? 0U : look.colour, 0xABCDEF, 1,
                                              program.alphaColours()};
    xcb_create_window(c, look.hasAlpha ? 32 : program.rootDepth(), id_,
                      look.parent == XCB_NONE ? program.root() : look.parent, s16(look.frame.x),
                      s16(look.frame.y), u16(look.frame.width), u16(look.frame.height),
                      u16(look.border), XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      look.hasAlpha ? program.alphaVisual()
                                    : static_cast<xcb_visualid_t>(XCB_COPY_FROM_PARENT),
                      mask, values.data());
    xcb_create_gc(c, gc_, id_, 0, nullptr);
    map();
    program.finish();
}

void PaintedWindow::paint(const PixelRect& part, Colour colour) const {
    const xcb_rectangle_t area{s16(part.x), s16(part.y), u16(part.width), u16(part.height)};
    xcb_change_gc(program_.get(), gc_, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(program_.get(), id_, gc_, 1, &area);
    xcb_flush(program_.get());
}

void PaintedWindow::moveTo(int x, int y) const {
    const std::array<std::int32_t, 2> values{x, y};
    xcb_configure_window(program_.get(), id_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                         values.data());
    xcb_flush(program_.get());
}

void PaintedWindow::resize(int width, int height) const {
    const std::array<std::int32_t, 2> values{width, height};
    xcb_configure_window(program_.get(), id_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values.data());
    xcb_flush(program_.get());
}

void PaintedWindow::raise() const {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(program_.get(), id_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_flush(program_.get());
}

void PaintedWindow::lower() const {
    const std::uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(program_.get(), id_, XCB_CONFIG_WINDOW_STACK_MODE, &below);
    xcb_flush(program_.get());
}

void PaintedWindow::map() const {
    xcb_map_window(program_.get(), id_);
    xcb_flush(program_.get());
}

void PaintedWindow::unmap() const {
    xcb_unmap_window(program_.get(), id_);
    xcb_flush(program_.get());
}

void PaintedWindow::destroy() const {
    xcb_destroy_window(program_.get(), id_);
    xcb_flush(program_.get());
}

void PaintedWindow::setOpacity(double opacity) const {
    const auto value = static_cast<std::uint32_t>(opacity * 0xFFFFFFFF);
    xcb_change_property(program_.get(), XCB_PROP_MODE_REPLACE, id_,
                        program_.atom("_NET_WM_WINDOW_OPACITY"), XCB_ATOM_CARDINAL, 32, 1, &value);
    xcb_flush(program_.get());
}

void PaintedWindow::cutTo(const PixelRect& part) const {
    const xcb_rectangle_t area{s16(part.x), s16(part.y), u16(part.width), u16(part.height)};
    xcb_shape_rectangles(program_.get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING,
                         XCB_CLIP_ORDERING_UNSORTED, id_, 0, 0, 1, &area);
    xcb_flush(program_.get());
}

void PaintedWindow::setProcess(int pid) const {
    const auto value = static_cast<std::uint32_t>(pid);
    xcb_change_property(program_.get(), XCB_PROP_MODE_REPLACE, id_, program_.atom("_NET_WM_PID"),
                        XCB_ATOM_CARDINAL, 32, 1, &value);
    program_.finish();
}

} // namespace lentora::test
