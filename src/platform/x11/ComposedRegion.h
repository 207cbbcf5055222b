// Draws a region of the root window out of the windows that are to be in the picture.
#pragma once

#include "platform/x11/CaptureServer.h"
#include "platform/x11/CapturedWindow.h"
#include "platform/x11/PixelRegion.h"

#include <xcb/render.h>

#include <memory>
#include <vector>

namespace lentora::x11 {

/// What is drawn: a background, and windows above it.
struct WindowLayers {
    /// None for black.
    xcb_render_picture_t background = XCB_NONE;
    /// From bottom to top; visible and followed, all of them.
    std::vector<CapturedWindow*> windows;
};

/// Everything happens on the server; nothing is waited for. The capture thread.
class ComposedRegion {
public:
    /// `region` on the root window; `width` and `height` of the pictures that it fills.
    ComposedRegion(std::shared_ptr<const CaptureServer> server, const PixelRect& region, int width,
                   int height);
    ~ComposedRegion();
    ComposedRegion(const ComposedRegion&) = delete;
    ComposedRegion& operator=(const ComposedRegion&) = delete;

    struct Target {
        /// Both of the root window's format.
        xcb_drawable_t drawable = XCB_NONE;
        xcb_render_picture_t picture = XCB_NONE;
    };

    /// Makes `target` show the layers where `damage` says that they have changed, and where it is
    /// `stale` for another reason. Damage is relative to the region, staleness to the target.
    void paint(const Target& target, const WindowLayers& layers, const PixelRegion& damage,
               const PixelRegion& stale);

    /// The part of a target that shows this part of the region.
    PixelRegion toTarget(const PixelRegion& damage) const;

private:
    bool isScaled() const { return unscaled_.drawable != XCB_NONE; }
    void makeUnscaled();
    void paintRect(const Target& target, const WindowLayers& layers, const PixelRect& rect);
    void paintBackground(const Target& target, const WindowLayers& layers, const PixelRect& rect);
    void paintWindow(const Target& target, const CapturedWindow& window, const PixelRect& rect);

    const std::shared_ptr<const CaptureServer> server_;
    const PixelRect region_;
    const int width_;
    const int height_;
    xcb_gcontext_t copying_ = XCB_NONE;
    // Where targets have another size than the region, it is drawn here first. Always current.
    Target unscaled_;
};

} // namespace lentora::x11
