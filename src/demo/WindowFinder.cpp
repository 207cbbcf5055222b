#include "demo/WindowFinder.h"

#include <array>
#include <span>
#include <string_view>
#include <utility>

namespace lentora::demo {

using x11::XcbPtr;

Spot Box::at(double right, double down) const {
    return {corner.x + static_cast<int>(right * width), corner.y + static_cast<int>(down * height)};
}

std::optional<xcb_window_t> WindowFinder::find(const std::string& name) const {
    return findBelow(server_.root(), name);
}

std::optional<xcb_window_t> WindowFinder::findBelow(xcb_window_t parent,
                                                    const std::string& name) const {
    xcb_connection_t* c = server_.get();
    const XcbPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, parent), nullptr));
    if (!tree)
        return std::nullopt;
    const std::span children(xcb_query_tree_children(tree.get()),
                             static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));
    for (const xcb_window_t child : children) {
        if (isShown(child, name))
            return child;
        if (const auto found = findBelow(child, name))
            return found;
    }
    return std::nullopt;
}

bool WindowFinder::isShown(xcb_window_t window, const std::string& name) const {
    constexpr std::uint32_t longest = 64;
    xcb_connection_t* c = server_.get();
    const XcbPtr<xcb_get_property_reply_t> property(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, longest),
        nullptr));
    if (!property)
        return false;
    // Two texts, each with a zero at its end: the instance and the class.
    const std::string_view classes(
        static_cast<const char*>(xcb_get_property_value(property.get())),
        static_cast<std::size_t>(xcb_get_property_value_length(property.get())));
    const std::string wanted = std::string(1, '\0') + name + std::string(1, '\0');
    if (!classes.ends_with(wanted))
        return false;
    const XcbPtr<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

std::optional<Box> WindowFinder::place(xcb_window_t window) const {
    xcb_connection_t* c = server_.get();
    const XcbPtr<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
    const XcbPtr<xcb_translate_coordinates_reply_t> corner(xcb_translate_coordinates_reply(
        c, xcb_translate_coordinates(c, window, server_.root(), 0, 0), nullptr));
    if (!size || !corner)
        return std::nullopt;
    return Box{{corner->dst_x, corner->dst_y}, size->width, size->height};
}

void WindowFinder::put(xcb_window_t window, Spot corner) const {
    const std::array<std::uint32_t, 2> values{static_cast<std::uint32_t>(corner.x),
                                              static_cast<std::uint32_t>(corner.y)};
    xcb_configure_window(server_.get(), window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                         values.data());
    xcb_flush(server_.get());
}

bool WindowFinder::hasWindowManager() {
    xcb_connection_t* c = server_.get();
    if (trial_ == XCB_NONE) {
        trial_ = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, trial_, server_.root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    }
    xcb_map_window(c, trial_);
    const XcbPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, trial_), nullptr));
    const bool hasFrame = tree && tree->parent != server_.root();
    if (hasFrame)
        xcb_destroy_window(c, std::exchange(trial_, XCB_NONE));
    return hasFrame;
}

bool WindowFinder::hasCompositingManager() const {
    xcb_connection_t* c = server_.get();
    const XcbPtr<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        c, xcb_get_selection_owner(c, atom("_NET_WM_CM_S0")), nullptr));
    return owner && owner->owner != XCB_NONE;
}

xcb_atom_t WindowFinder::atom(std::string_view name) const {
    xcb_connection_t* c = server_.get();
    const XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

} // namespace lentora::demo
