// A compositing manager: the smallest that blends windows. It draws when it is asked to.
#pragma once

#include "platform/x11/CaptureServer.h"
#include "platform/x11/PixelRegion.h"
#include "support/Picture.h"

#include <xcb/xcb.h>

#include <memory>
#include <string>

namespace lentora::test {

class Compositor {
public:
    /// Connects, and does nothing yet.
    explicit Compositor(const std::string& display);
    /// Gives up what it has taken.
    ~Compositor();
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    /// Says that it is the manager, as managers do first of all.
    void takeSelection();
    /// Takes the windows off the screen. False where another has.
    bool redirect();
    /// Puts the windows back on the screen.
    void unredirect();
    /// What others see of its end.
    void destroyWindow();

    /// A manager that has started.
    static std::unique_ptr<Compositor> running(const std::string& display);

    /// What the user sees of a part of the screen.
    Picture screen(const x11::PixelRect& part) const;

private:
    void finish() const;
    void draw(xcb_window_t window, xcb_render_picture_t target, const x11::PixelRect& part) const;

    std::shared_ptr<const x11::CaptureServer> server_;
    xcb_window_t window_ = XCB_NONE;
    bool hasRedirected_ = false;
};

/// The pixels of a drawable, opaque. Empty where the server refuses.
Picture pixelsOf(xcb_connection_t* connection, xcb_drawable_t drawable, const x11::PixelRect& part);

} // namespace lentora::test
