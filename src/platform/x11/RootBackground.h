// What lies below all windows.
#pragma once

#include "platform/x11/CaptureServer.h"
#include "platform/x11/MessageQueue.h"

#include <xcb/render.h>

#include <functional>
#include <memory>

namespace lentora::x11 {

/// X does not tell what a root window's background is. Programs that set a wallpaper leave a
/// reference to it in a property of the root window; where there is none, the background is black.
/// The capture thread.
class RootBackground {
public:
    /// `changed` is called when it looks different, until this object's end, which is also that of
    /// `messages`.
    RootBackground(const CaptureServer& server, MessageQueue& messages,
                   std::function<void()> changed);
    ~RootBackground();
    RootBackground(const RootBackground&) = delete;
    RootBackground& operator=(const RootBackground&) = delete;

    /// Asks for it anew: at the start, and when the property changes.
    void ask();

    /// Repeats itself from the root window's corner on. None where it is black.
    xcb_render_picture_t picture() const { return picture_; }

private:
    void askForDepth(xcb_pixmap_t pixmap);
    void take(xcb_pixmap_t pixmap);

    const CaptureServer& server_;
    MessageQueue& messages_;
    const std::function<void()> changed_;
    xcb_render_picture_t picture_ = XCB_NONE;
};

} // namespace lentora::x11
