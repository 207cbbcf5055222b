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
    /// Takes over the screen.
    explicit Compositor(const std::string& display);
    /// Gives it back.
    ~Compositor();
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    /// What the user sees of a part of the screen.
    Picture screen(const x11::PixelRect& part) const;

private:
    void draw(xcb_window_t window, xcb_render_picture_t target, const x11::PixelRect& part) const;

    std::shared_ptr<const x11::CaptureServer> server_;
    xcb_window_t owner_ = XCB_NONE;
};

/// The pixels of a drawable, opaque. Empty where the server refuses.
Picture pixelsOf(xcb_connection_t* connection, xcb_drawable_t drawable, const x11::PixelRect& part);

} // namespace lentora::test
