#include "lens/SourceWindow.h"

#include <xcb/xcb.h>

#include <array>
#include <stdexcept>
#include <string_view>

namespace lentora::bench {

SourceWindow::SourceWindow(const std::string& display) {
    std::string error;
    connection_ = x11::Connection::open(display, error);
    if (!connection_)
        throw std::runtime_error(error);
    xcb_connection_t* c = connection_->get();
    window_ = xcb_generate_id(c);
    gc_ = xcb_generate_id(c);
    const std::uint32_t background = blue;
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window_, connection_->root(), sourceArea.x,
                      sourceArea.y, sourceArea.width, sourceArea.height, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL,
                      &background);
    constexpr std::string_view name = "Changing window";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        name.size(), name.data());
    xcb_create_gc(c, gc_, window_, 0, nullptr);
    xcb_map_window(c, window_);
    finish();
}

SourceWindow::~SourceWindow() {
    xcb_destroy_window(connection_->get(), window_);
    finish();
}

void SourceWindow::fill(const Area& area, std::uint32_t color) {
    const xcb_rectangle_t rectangle{static_cast<std::int16_t>(area.x - sourceArea.x),
                                    static_cast<std::int16_t>(area.y - sourceArea.y),
                                    static_cast<std::uint16_t>(area.width),
                                    static_cast<std::uint16_t>(area.height)};
    xcb_change_gc(connection_->get(), gc_, XCB_GC_FOREGROUND, &color);
    xcb_poly_fill_rectangle(connection_->get(), window_, gc_, 1, &rectangle);
    xcb_flush(connection_->get());
}

std::uint32_t SourceWindow::change(Change what) {
    color_ = color_ == blue ? brown : blue;
    fill(what == Change::whole ? sourceArea : smallArea, color_);
    return color_;
}

void SourceWindow::reset() {
    color_ = blue;
    fill(sourceArea, color_);
    finish();
}

void SourceWindow::finish() const {
    const x11::XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
        connection_->get(), xcb_get_input_focus(connection_->get()), nullptr));
}

} // namespace lentora::bench
