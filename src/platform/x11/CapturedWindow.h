// One window in the picture: its pixels, and what says how they are to be drawn.
#pragma once

#include "platform/x11/CaptureServer.h"
#include "platform/x11/MessageQueue.h"
#include "platform/x11/WindowStack.h"

#include <xcb/damage.h>
#include <xcb/render.h>
#include <xcb/shape.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace lentora::x11 {

/// Keeps the window redirected while it exists, so that the server holds its pixels whether or not
/// something covers it. The window may vanish, or its id come to mean another window, at any
/// moment: then requests fail on the server and are not missed.
///
/// The capture thread.
class CapturedWindow {
public:
    /// Watches the window and asks what it is. `changed` is called when something is known that
    /// was not before, until this object's end.
    CapturedWindow(std::shared_ptr<const CaptureServer> server, MessageQueue& messages,
                   const TopLevel& window, std::function<void()> changed);
    ~CapturedWindow();
    CapturedWindow(const CapturedWindow&) = delete;
    CapturedWindow& operator=(const CapturedWindow&) = delete;

    xcb_window_t id() const { return id_; }
    std::uint64_t serial() const { return serial_; }

    /// The answers have come.
    bool isKnown() const { return answers_ >= questions; }
    /// There is something to see: it has pixels, and is not wholly transparent.
    bool isVisible() const { return isKnown() && format_ != nullptr && alpha_ != 0; }
    /// Nothing shows through it.
    bool isOpaque() const {
        return isVisible() && !format_->hasAlpha && alpha_ == opaque && !isShaped_;
    }

    /// Takes hold of the window's pixels, and of its place. To be called again when those change.
    void follow(const TopLevel& window);
    /// `follow` has been called.
    bool isFollowed() const { return picture_ != XCB_NONE; }
    /// With the border, on the root window.
    const PixelRect& bounds() const { return bounds_; }
    /// Grows whenever it looks different for another reason than damage or its place.
    unsigned version() const { return version_; }

    /// The part of the window that an event says was drawn on, on the root window. Empty for an
    /// event that tells nothing new.
    PixelRect damaged(const xcb_generic_event_t& event);
    /// From here on, damage is reported again. Sends something only where there was any.
    void forgetDamage();

    void opacityChanged() { askOpacity(); }
    void shapeChanged(const xcb_shape_notify_event_t& event);

    /// What drawing takes. The format is known, and the pixmap begins with the border.
    const PictureFormat& format() const { return *format_; }
    xcb_pixmap_t pixmap() const { return pixmap_; }
    xcb_render_picture_t picture() const { return picture_; }
    /// None where the window is not translucent as a whole.
    xcb_render_picture_t mask() const { return mask_; }
    /// None where it is a rectangle. Relative to the inside of the border.
    xcb_xfixes_region_t shape() const { return shape_; }
    int border() const { return border_; }

private:
    static constexpr std::uint32_t opaque = 0xFFFFFFFF;
    /// Asked at the beginning.
    static constexpr int questions = 3;

    /// Wraps a handler so that it is dropped once this object is gone.
    template <typename Reply, typename Cookie>
    void ask(Cookie cookie, std::function<void(const Reply*)> handler);
    void askOpacity();
    void setAlpha(std::uint32_t alpha);
    void setShaped(bool shaped);
    void redirect(const TopLevel& window);
    void freePixels();

    const std::shared_ptr<const CaptureServer> server_;
    MessageQueue& messages_;
    const xcb_window_t id_;
    const std::uint64_t serial_;
    const std::function<void()> changed_;
    // Goes with this object; handlers of replies hold it weakly.
    const std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);

    int answers_ = 0;
    const PictureFormat* format_ = nullptr;
    std::uint32_t alpha_ = opaque;
    bool isShaped_ = false;

    PixelRect bounds_;
    int border_ = 0;
    unsigned pixels_ = 0;
    unsigned version_ = 0;
    bool isRedirected_ = false;
    xcb_pixmap_t pixmap_ = XCB_NONE;
    xcb_render_picture_t picture_ = XCB_NONE;
    xcb_render_picture_t mask_ = XCB_NONE;
    xcb_xfixes_region_t shape_ = XCB_NONE;
    xcb_damage_damage_t damage_ = XCB_NONE;
    bool hasReported_ = false;
    // Events of earlier requests tell of what is drawn anyway.
    std::uint32_t damageSince_ = 0;
};

} // namespace lentora::x11
