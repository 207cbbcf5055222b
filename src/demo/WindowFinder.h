// The windows that the demo's programs have opened.
#pragma once

#include "demo/Hands.h"
#include "platform/x11/Connection.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lentora::demo {

/// Pixels of the screen.
struct Box {
    Spot corner;
    int width = 0;
    int height = 0;

    /// A spot inside, in parts of the width and of the height.
    Spot at(double right, double down) const;
};

class WindowFinder {
public:
    explicit WindowFinder(const x11::Connection& server) : server_(server) {}

    /// The window that can be seen and is of class `name` (WM_CLASS).
    std::optional<xcb_window_t> find(const std::string& name) const;

    /// Where it is seen; nothing when it is gone.
    std::optional<Box> place(xcb_window_t window) const;

    /// Asks the window manager to put the corner of a window there.
    void put(xcb_window_t window, Spot corner) const;

    /// Whether a window manager runs and does its work: one that is only about to loses the windows
    /// that want to be shown. It is tried with a window of ours, as often as this is called.
    bool hasWindowManager();
    bool hasCompositingManager() const;

private:
    std::optional<xcb_window_t> findBelow(xcb_window_t parent, const std::string& name) const;
    xcb_atom_t atom(std::string_view name) const;
    bool isShown(xcb_window_t window, const std::string& name) const;

    const x11::Connection& server_;
    xcb_window_t trial_ = XCB_NONE;
};

} // namespace lentora::demo
