#include "platform/x11/X11Pointer.h"

#include <algorithm>

namespace lentora::x11 {

namespace {

// Points. A row of pixels is named by its upper edge, and the upper edge of a display's first row
// does not belong to its frame, which has its origin at the bottom. The pointer is inside of it.
constexpr double insideOfEdge = 1.0 / 1024;

bool isOnFirstRow(const ScreenLayout& layout, int x, int y) {
    return std::ranges::any_of(layout.monitors, [&](const Monitor& monitor) {
        return y == monitor.rect.y && x >= monitor.rect.x && x < monitor.rect.maxX();
    });
}

} // namespace

std::unique_ptr<X11Pointer> X11Pointer::open(const std::string& display, const X11Desktop& desktop,
                                             std::string& error) {
    auto connection = Connection::open(display, error);
    if (!connection)
        return nullptr;
    return std::unique_ptr<X11Pointer>(new X11Pointer(std::move(connection), desktop));
}

Point X11Pointer::location() const {
    Point point;
    const auto snapshot = desktop_.last();
    const ScreenLayout& layout = snapshot->layout;
    const ScreenSpace& space = layout.space;
    {
        const std::lock_guard lock(mutex_);
        xcb_connection_t* const c = connection_->get();
        const XcbPtr<xcb_query_pointer_reply_t> reply(
            xcb_query_pointer_reply(c, xcb_query_pointer(c, connection_->root()), nullptr));
        if (reply && reply->same_screen != 0) {
            x_ = reply->root_x;
            y_ = reply->root_y;
        }
        point = space.toPoints(x_, y_);
        if (isOnFirstRow(layout, x_, y_))
            point.y += insideOfEdge;
    }
    const double primaryHeight =
        layout.monitors.empty() ? 0 : space.toPoints(layout.monitors.front().rect).height;
    return {point.x, primaryHeight - point.y};
}

} // namespace lentora::x11
