// The windows on the desktop, as a window manager sees them.
#pragma once

#include "lens/Scene.h"
#include "platform/x11/Connection.h"

#include <memory>
#include <string>
#include <vector>

namespace lentora::bench {

struct Window {
    xcb_window_t id = XCB_NONE;
    Area area;
};

class Windows {
public:
    explicit Windows(const std::string& display);

    /// The mapped children of the root window, the front one first.
    std::vector<Window> all() const;

    /// The front one at a spot; none where there is none.
    xcb_window_t at(const Spot& spot) const;

    /// Moves one, and gives it a size.
    void place(xcb_window_t window, const Area& area) const;

private:
    std::unique_ptr<x11::Connection> connection_;
};

} // namespace lentora::bench
