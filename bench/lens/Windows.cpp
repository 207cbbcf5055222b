#include "lens/Windows.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace lentora::bench {

Windows::Windows(const std::string& display) {
    std::string error;
    connection_ = x11::Connection::open(display, error);
    if (!connection_)
        throw std::runtime_error(error);
}

std::vector<Window> Windows::all() const {
    xcb_connection_t* c = connection_->get();
    const x11::XcbPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, connection_->root()), nullptr));
    std::vector<Window> result;
    if (!tree)
        return result;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    for (int i = xcb_query_tree_children_length(tree.get()) - 1; i >= 0; --i) {
        const auto cookie = xcb_get_window_attributes(c, children[i]);
        const x11::XcbPtr<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, children[i]), nullptr));
        const x11::XcbPtr<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, cookie, nullptr));
        if (geometry && attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
            attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT)
            result.push_back(
                {children[i], {geometry->x, geometry->y, geometry->width, geometry->height}});
    }
    return result;
}

xcb_window_t Windows::at(const Spot& spot) const {
    const auto windows = all();
    const auto found = std::ranges::find_if(windows, [&](const Window& window) {
        const Area& area = window.area;
        return spot.x >= area.x && spot.y >= area.y && spot.x < area.x + area.width &&
               spot.y < area.y + area.height;
    });
    return found != windows.end() ? found->id : xcb_window_t{XCB_NONE};
}

void Windows::place(xcb_window_t window, const Area& area) const {
    const std::array<std::uint32_t, 5> values{
        static_cast<std::uint32_t>(area.x), static_cast<std::uint32_t>(area.y),
        static_cast<std::uint32_t>(area.width), static_cast<std::uint32_t>(area.height),
        XCB_STACK_MODE_ABOVE};
    xcb_configure_window(connection_->get(), window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT | XCB_CONFIG_WINDOW_STACK_MODE,
                         values.data());
    xcb_flush(connection_->get());
}

} // namespace lentora::bench
