#include "desktop/Compositor.h"

#include <xcb/composite.h>

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace lentora::test {

using x11::XcbPtr;

Picture pixelsOf(xcb_connection_t* connection, xcb_drawable_t drawable,
                 const x11::PixelRect& part) {
    const XcbPtr<xcb_get_image_reply_t> image(xcb_get_image_reply(
        connection,
        xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable,
                      static_cast<std::int16_t>(part.x), static_cast<std::int16_t>(part.y),
                      static_cast<std::uint16_t>(part.width),
                      static_cast<std::uint16_t>(part.height), ~0U),
        nullptr));
    if (!image)
        return {};
    Picture picture(part.width, part.height);
    const std::uint8_t* at = xcb_get_image_data(image.get());
    for (int y = 0; y < part.height; ++y) {
        for (int x = 0; x < part.width; ++x, at += 4)
            picture.at(x, y) = {at[2], at[1], at[0], 255};
    }
    return picture;
}

Compositor::Compositor(const std::string& display) {
    std::string error;
    server_ = x11::CaptureServer::open(display, error);
    if (!server_)
        throw std::runtime_error(error);
    xcb_connection_t* c = server_->get();
    window_ = xcb_generate_id(c);
    xcb_create_window(c, 0, window_, server_->root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    finish();
}

Compositor::~Compositor() {
    unredirect();
    destroyWindow();
}

std::unique_ptr<Compositor> Compositor::running(const std::string& display) {
    auto compositor = std::make_unique<Compositor>(display);
    compositor->takeSelection();
    if (!compositor->redirect())
        throw std::runtime_error("another compositing manager is running");
    return compositor;
}

void Compositor::takeSelection() {
    xcb_connection_t* c = server_->get();
    constexpr std::string_view name = "_NET_WM_CM_S0";
    const XcbPtr<xcb_intern_atom_reply_t> selection(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, name.size(), name.data()), nullptr));
    xcb_set_selection_owner(c, window_, selection->atom, XCB_CURRENT_TIME);
    finish();
}

bool Compositor::redirect() {
    xcb_connection_t* c = server_->get();
    const XcbPtr<xcb_generic_error_t> error(
        xcb_request_check(c, xcb_composite_redirect_subwindows_checked(
                                 c, server_->root(), XCB_COMPOSITE_REDIRECT_MANUAL)));
    hasRedirected_ = !error;
    return hasRedirected_;
}

void Compositor::unredirect() {
    if (!std::exchange(hasRedirected_, false))
        return;
    xcb_composite_unredirect_subwindows(server_->get(), server_->root(),
                                        XCB_COMPOSITE_REDIRECT_MANUAL);
    finish();
}

void Compositor::destroyWindow() {
    if (const xcb_window_t window = std::exchange(window_, XCB_NONE); window != XCB_NONE)
        xcb_destroy_window(server_->get(), window);
    finish();
}

void Compositor::finish() const {
    const XcbPtr<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(server_->get(), xcb_get_input_focus(server_->get()), nullptr));
}

Picture Compositor::screen(const x11::PixelRect& part) const {
    xcb_connection_t* c = server_->get();
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    const xcb_render_picture_t target = xcb_generate_id(c);
    const auto width = static_cast<std::uint16_t>(part.width);
    const auto height = static_cast<std::uint16_t>(part.height);
    xcb_create_pixmap(c, server_->rootFormat().depth, pixmap, server_->root(), width, height);
    xcb_render_create_picture(c, target, pixmap, server_->rootFormat().id, 0, nullptr);
    const xcb_rectangle_t all{0, 0, width, height};
    xcb_render_fill_rectangles(c, XCB_RENDER_PICT_OP_SRC, target, {0, 0, 0, 0xFFFF}, 1, &all);
    const XcbPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, server_->root()), nullptr));
    const std::span windows(xcb_query_tree_children(tree.get()),
                            static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));
    for (const xcb_window_t window : windows)
        draw(window, target, part);
    Picture seen = pixelsOf(c, pixmap, part.translated(-part.x, -part.y));
    xcb_render_free_picture(c, target);
    xcb_free_pixmap(c, pixmap);
    return seen;
}

void Compositor::draw(xcb_window_t window, xcb_render_picture_t target,
                      const x11::PixelRect& part) const {
    xcb_connection_t* c = server_->get();
    const XcbPtr<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
    const XcbPtr<xcb_get_geometry_reply_t> place(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
    if (!attributes || !place || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
        return;
    const x11::PictureFormat* format = server_->format(attributes->visual);
    if (format == nullptr)
        return;
    const xcb_render_picture_t picture = xcb_generate_id(c);
    const std::uint32_t withChildren = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
    xcb_render_create_picture(c, picture, window, format->id, XCB_RENDER_CP_SUBWINDOW_MODE,
                              &withChildren);
    xcb_render_composite(c, XCB_RENDER_PICT_OP_OVER, picture, XCB_NONE, target, 0, 0, 0, 0,
                         static_cast<std::int16_t>(place->x - part.x),
                         static_cast<std::int16_t>(place->y - part.y), place->width, place->height);
    xcb_render_free_picture(c, picture);
}

} // namespace lentora::test
