// The least that drawing a lens can be.
#pragma once

#include "platform/x11/PanelServer.h"
#include "platform/x11/X11Surface.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace lentora {

/// Draws the lens's picture with one request for each frame. Its window is there before the capture
/// begins, which leaves it out like the lens.
class BareDrawing {
public:
    BareDrawing(const std::string& display, int width, int height)
        : width_(static_cast<std::uint16_t>(width)), height_(static_cast<std::uint16_t>(height)) {
        std::string error;
        server_ = x11::PanelServer::open(display, error);
        xcb_connection_t* c = server_->get();
        window_ = xcb_generate_id(c);
        const std::array<std::uint32_t, 4> values{0, 0, 1, server_->colormap()};
        xcb_create_window(c, 32, window_, server_->root(), 0, 0, width_, height_, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, server_->visual(),
                          XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT |
                              XCB_CW_COLORMAP,
                          values.data());
        picture_ = xcb_generate_id(c);
        xcb_render_create_picture(c, picture_, window_, server_->colorFormat(), 0, nullptr);
        finish();
    }
    ~BareDrawing() {
        xcb_destroy_window(server_->get(), window_);
        finish();
    }
    BareDrawing(const BareDrawing&) = delete;
    BareDrawing& operator=(const BareDrawing&) = delete;

    xcb_window_t window() const { return window_; }

    void show(const x11::X11Surface& surface) {
        xcb_connection_t* c = server_->get();
        source_ = xcb_generate_id(c);
        const std::uint32_t repeat = XCB_RENDER_REPEAT_PAD;
        xcb_render_create_picture(c, source_, surface.pixmap(), surface.format().id,
                                  XCB_RENDER_CP_REPEAT, &repeat);
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(c, window_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_map_window(c, window_);
        finish();
    }
    void hide() {
        xcb_unmap_window(server_->get(), window_);
        xcb_render_free_picture(server_->get(), source_);
        finish();
    }

    // `shift` in pixels to the right.
    void draw(double zoom, double focusX, double focusY, int shift) {
        xcb_connection_t* c = server_->get();
        const auto fixed = [](double v) { return static_cast<xcb_render_fixed_t>(v * 65536); };
        const xcb_render_transform_t transform{fixed(1 / zoom),
                                               0,
                                               fixed(focusX - (focusX + shift) / zoom),
                                               0,
                                               fixed(1 / zoom),
                                               fixed(focusY - focusY / zoom),
                                               0,
                                               0,
                                               fixed(1)};
        xcb_render_set_picture_transform(c, source_, transform);
        // In its own size there is nothing to mix, and the server is faster without.
        const std::string_view filter = zoom == 1 ? "nearest" : "bilinear";
        xcb_render_set_picture_filter(c, source_, static_cast<std::uint16_t>(filter.size()),
                                      filter.data(), 0, nullptr);
        xcb_render_composite(c, XCB_RENDER_PICT_OP_SRC, source_, XCB_NONE, picture_, 0, 0, 0, 0, 0,
                             0, width_, height_);
        finish();
    }

private:
    void finish() const {
        const x11::XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
            server_->get(), xcb_get_input_focus(server_->get()), nullptr));
    }

    const std::uint16_t width_;
    const std::uint16_t height_;
    std::shared_ptr<const x11::PanelServer> server_;
    xcb_window_t window_ = XCB_NONE;
    xcb_render_picture_t picture_ = XCB_NONE;
    xcb_render_picture_t source_ = XCB_NONE;
};

} // namespace lentora
