#include "demo/Wallpaper.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace lentora::demo {

namespace {

struct Color {
    int red;
    int green;
    int blue;
};

constexpr Color top{0x5B, 0x86, 0xA8};
constexpr Color bottom{0x2E, 0x3F, 0x5C};

std::uint32_t mixed(int part, int whole) {
    const auto channel = [&](int from, int to) {
        return static_cast<std::uint32_t>(from + (to - from) * part / whole);
    };
    return channel(top.red, bottom.red) << 16 | channel(top.green, bottom.green) << 8 |
           channel(top.blue, bottom.blue);
}

xcb_atom_t atom(xcb_connection_t* c, std::string_view name) {
    const x11::XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

} // namespace

void hangWallpaper(const x11::Connection& server) {
    xcb_connection_t* c = server.get();
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    const xcb_gcontext_t pen = xcb_generate_id(c);
    xcb_create_pixmap(c, screen.root_depth, pixmap, screen.root, screen.width_in_pixels,
                      screen.height_in_pixels);
    xcb_create_gc(c, pen, pixmap, 0, nullptr);
    for (int y = 0; y < screen.height_in_pixels; ++y) {
        const std::uint32_t color = mixed(y, screen.height_in_pixels);
        const xcb_rectangle_t row{0, static_cast<std::int16_t>(y), screen.width_in_pixels, 1};
        xcb_change_gc(c, pen, XCB_GC_FOREGROUND, &color);
        xcb_poly_fill_rectangle(c, pixmap, pen, 1, &row);
    }
    xcb_free_gc(c, pen);
    for (const char* name : {"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"})
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen.root, atom(c, name), XCB_ATOM_PIXMAP,
                            32, 1, &pixmap);
    xcb_change_window_attributes(c, screen.root, XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(c, 0, screen.root, 0, 0, 0, 0);
    xcb_flush(c);
}

} // namespace lentora::demo
