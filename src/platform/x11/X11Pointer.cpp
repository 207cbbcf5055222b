#include "platform/x11/X11Pointer.h"

namespace lentora::x11 {

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
    const ScreenSpace& space = snapshot->layout.space;
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
    }
    const auto& monitors = snapshot->layout.monitors;
    const double primaryHeight =
        monitors.empty() ? 0 : space.toPoints(monitors.front().rect).height;
    return {point.x, primaryHeight - point.y};
}

} // namespace lentora::x11
