// What lies on the screen, and in which order, read once when somebody asks.
#pragma once

#include "platform/x11/Connection.h"
#include "platform/x11/MessageQueue.h"
#include "platform/x11/PixelRegion.h"

#include <xcb/xcb.h>

#include <functional>
#include <vector>

namespace lentora::x11 {

struct StackedWindow {
    xcb_window_t id = XCB_NONE;
    /// With its border, on the root window.
    PixelRect bounds;
    /// No window manager has a say in it.
    bool isOverrideRedirect = false;
};

/// Calls `answer` with the children of the root window that can be seen, bottom to top, when the
/// server has told them. Where it does not, there are none. Never waits. `connection` and
/// `messages` belong together.
void readStack(const Connection& connection, MessageQueue& messages,
               std::function<void(const std::vector<StackedWindow>&)> answer);

/// Calls `answer` with whether a window manager put an application's window into `window`, which it
/// marks with the property `mark`. Never waits.
void findClient(const Connection& connection, MessageQueue& messages, xcb_window_t window,
                xcb_atom_t mark, std::function<void(bool)> answer);

} // namespace lentora::x11
