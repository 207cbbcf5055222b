// A connection to a server that can do what capture needs, and what capture has to know of it.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/render.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace lentora::x11 {

/// How the pixels of a visual are read.
struct PictureFormat {
    xcb_render_pictformat_t id = XCB_NONE;
    std::uint8_t depth = 0;
    bool hasAlpha = false;
};

/// Does not change once it is open.
class CaptureServer {
public:
    /// Connects. Null, with what is missing in `error`, where pixels cannot be captured. Blocks for
    /// two round trips.
    static std::shared_ptr<const CaptureServer> open(const std::string& display,
                                                     std::string& error);

    const Connection& connection() const { return *connection_; }
    xcb_connection_t* get() const { return connection_->get(); }
    xcb_window_t root() const { return connection_->root(); }

    /// Null for a visual that cannot be read.
    const PictureFormat* format(xcb_visualid_t visual) const;
    const PictureFormat& rootFormat() const { return rootFormat_; }
    /// Of frames: the root window's colours, with alpha where that is the only difference. Frames
    /// are opaque all the same, but they are drawn scaled onto windows with alpha, and servers have
    /// a quick way only from like to like.
    const PictureFormat& frameFormat() const { return frameFormat_; }

    std::uint8_t damageNotify() const { return damageNotify_; }
    std::uint8_t shapeNotify() const { return shapeNotify_; }
    /// Who owns a window can be asked of the server itself.
    bool hasResourceExtension() const { return hasResourceExtension_; }
    /// Other clients can be told how far the drawing has got (`DrawingCounter`).
    bool hasCounters() const { return hasCounters_; }

    struct Atoms {
        xcb_atom_t windowOpacity = XCB_NONE;
        xcb_atom_t rootPixmap = XCB_NONE;
        xcb_atom_t windowPid = XCB_NONE;
    };
    const Atoms& atoms() const { return atoms_; }

    /// The window is the server's own: the overlay that compositing managers draw on, or the
    /// screen saver.
    bool isServersOwn(xcb_window_t window) const {
        return (window & ~xcb_get_setup(get())->resource_id_mask) == 0;
    }

private:
    CaptureServer() = default;

    std::string findExtensions();
    std::string agree();
    void takeFormats(const xcb_render_query_pict_formats_reply_t& reply);

    std::unique_ptr<Connection> connection_;
    std::map<xcb_visualid_t, PictureFormat> formats_;
    PictureFormat rootFormat_;
    PictureFormat frameFormat_;
    std::uint8_t damageNotify_ = 0;
    std::uint8_t shapeNotify_ = 0;
    bool hasResourceExtension_ = false;
    bool hasCounters_ = false;
    Atoms atoms_;
};

} // namespace lentora::x11
