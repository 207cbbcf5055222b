#include "platform/x11/WindowStack.h"

#include <algorithm>

namespace lentora::x11 {

const TopLevel* WindowStack::find(xcb_window_t id) const {
    const auto found = std::ranges::find(windows_, id, &TopLevel::id);
    return found == windows_.end() ? nullptr : &*found;
}

WindowStack::Iterator WindowStack::position(xcb_window_t id) {
    return std::ranges::find(windows_, id, &TopLevel::id);
}

void WindowStack::add(xcb_window_t id) {
    remove(id);
    TopLevel window;
    window.id = id;
    window.serial = nextSerial_++;
    windows_.push_back(window);
}

void WindowStack::remove(xcb_window_t id) {
    if (const auto at = position(id); at != windows_.end())
        windows_.erase(at);
}

void WindowStack::setGeometry(xcb_window_t id, const xcb_get_geometry_reply_t& geometry) {
    const auto at = position(id);
    if (at == windows_.end())
        return;
    at->x = geometry.x;
    at->y = geometry.y;
    resize(*at, geometry.width, geometry.height, geometry.border_width);
}

void WindowStack::setMapped(xcb_window_t id, bool mapped) {
    if (const auto at = position(id); at != windows_.end()) {
        at->isMapped = mapped;
        ++at->pixels;
    }
}

void WindowStack::resize(TopLevel& window, int width, int height, int border) {
    if (window.width == width && window.height == height && window.border == border)
        return;
    window.width = width;
    window.height = height;
    window.border = border;
    ++window.pixels;
}

void WindowStack::configure(const xcb_configure_notify_event_t& event) {
    const auto at = position(event.window);
    if (at == windows_.end())
        return;
    at->x = event.x;
    at->y = event.y;
    resize(*at, event.width, event.height, event.border_width);
    place(event.window, event.above_sibling);
}

// `below` is the window that comes to lie directly below; none at the bottom.
void WindowStack::place(xcb_window_t id, xcb_window_t below) {
    const auto at = position(id);
    const auto neighbour = position(below);
    if (below != XCB_NONE && neighbour == windows_.end())
        return;
    const auto target = below == XCB_NONE ? windows_.begin() : neighbour + 1;
    if (target == at || target == at + 1)
        return;
    if (target < at)
        std::rotate(target, at, at + 1);
    else
        std::rotate(at, at + 1, target);
}

void WindowStack::raise(xcb_window_t id) {
    if (const auto at = position(id); at != windows_.end())
        std::rotate(at, at + 1, windows_.end());
}

bool WindowStack::apply(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7F) {
    case XCB_CREATE_NOTIFY: {
        const auto& created = reinterpret_cast<const xcb_create_notify_event_t&>(event);
        if (created.parent != root_)
            return true;
        add(created.window);
        TopLevel& window = windows_.back();
        window.x = created.x;
        window.y = created.y;
        resize(window, created.width, created.height, created.border_width);
        return true;
    }
    case XCB_DESTROY_NOTIFY:
        remove(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
        return true;
    case XCB_REPARENT_NOTIFY: {
        const auto& moved = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
        if (moved.parent == root_)
            add(moved.window);
        else
            remove(moved.window);
        return true;
    }
    case XCB_MAP_NOTIFY:
        setMapped(reinterpret_cast<const xcb_map_notify_event_t&>(event).window, true);
        return true;
    case XCB_UNMAP_NOTIFY:
        setMapped(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window, false);
        return true;
    case XCB_CONFIGURE_NOTIFY:
        configure(reinterpret_cast<const xcb_configure_notify_event_t&>(event));
        return true;
    case XCB_GRAVITY_NOTIFY: {
        const auto& moved = reinterpret_cast<const xcb_gravity_notify_event_t&>(event);
        if (const auto at = position(moved.window); at != windows_.end()) {
            at->x = moved.x;
            at->y = moved.y;
        }
        return true;
    }
    case XCB_CIRCULATE_NOTIFY: {
        const auto& moved = reinterpret_cast<const xcb_circulate_notify_event_t&>(event);
        if (moved.place == XCB_PLACE_ON_TOP)
            raise(moved.window);
        else if (position(moved.window) != windows_.end())
            place(moved.window, XCB_NONE);
        return true;
    }
    default:
        return false;
    }
}

} // namespace lentora::x11
