// The children of the root window as events describe them: where they are, whether they are
// shown, and which lies above which. Sends nothing and asks nothing.
#pragma once

#include "platform/x11/PixelRegion.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <vector>

namespace lentora::x11 {

struct TopLevel {
    xcb_window_t id = XCB_NONE;
    /// Differs from that of every other window there was, also of one with the same id.
    std::uint64_t serial = 0;
    /// The upper left corner of the border.
    int x = 0;
    int y = 0;
    /// Without the border.
    int width = 0;
    int height = 0;
    int border = 0;
    bool isMapped = false;
    /// Changes whenever the server gave the window new pixels: it was shown, or got another size.
    unsigned pixels = 0;

    /// With the border, on the root window.
    PixelRect bounds() const { return {x, y, width + 2 * border, height + 2 * border}; }
};

class WindowStack {
public:
    explicit WindowStack(xcb_window_t root) : root_(root) {}

    /// From bottom to top.
    const std::vector<TopLevel>& windows() const { return windows_; }
    const TopLevel* find(xcb_window_t id) const;

    /// Adds a window at the top, unmapped and without a size.
    void add(xcb_window_t id);
    void remove(xcb_window_t id);
    void setGeometry(xcb_window_t id, const xcb_get_geometry_reply_t& geometry);
    void setMapped(xcb_window_t id, bool mapped);

    /// Takes an event that was selected on the root window. False when it is of another kind. A
    /// window that came from another parent needs its geometry to be set.
    bool apply(const xcb_generic_event_t& event);

private:
    using Iterator = std::vector<TopLevel>::iterator;

    Iterator position(xcb_window_t id);
    static void resize(TopLevel& window, int width, int height, int border);
    void configure(const xcb_configure_notify_event_t& event);
    void place(xcb_window_t id, xcb_window_t below);
    void raise(xcb_window_t id);

    const xcb_window_t root_;
    std::vector<TopLevel> windows_;
    std::uint64_t nextSerial_ = 1;
};

} // namespace lentora::x11
