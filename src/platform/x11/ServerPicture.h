// Pictures that the server keeps for a panel.
#pragma once

#include "platform/x11/PanelServer.h"
#include "support/Picture.h"

#include <xcb/render.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace lentora::x11 {

/// A picture and the pixmap below it, freed with the object. Where the server has no room for it,
/// nothing is drawn with it.
class ServerPicture {
public:
    enum class Kind { color, mask, root };

    /// Nothing is known of its pixels.
    ServerPicture(std::shared_ptr<const PanelServer> server, Kind kind, int width, int height);
    /// A reference to pixels of the root window's format that belong to another client.
    ServerPicture(std::shared_ptr<const PanelServer> server, xcb_pixmap_t pixmap, int width,
                  int height);
    ~ServerPicture();
    ServerPicture(const ServerPicture&) = delete;
    ServerPicture& operator=(const ServerPicture&) = delete;

    xcb_render_picture_t picture() const { return picture_; }
    xcb_drawable_t pixmap() const { return pixmap_; }
    int width() const { return width_; }
    int height() const { return height_; }

private:
    const std::shared_ptr<const PanelServer> server_;
    const int width_;
    const int height_;
    xcb_pixmap_t pixmap_ = XCB_NONE;
    bool ownsPixmap_ = true;
    xcb_render_picture_t picture_ = XCB_NONE;
};

std::unique_ptr<ServerPicture> upload(const std::shared_ptr<const PanelServer>& server,
                                      const Picture& picture);

/// Values of alpha, row after row.
struct Mask {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> alpha;
};

std::unique_ptr<ServerPicture> upload(const std::shared_ptr<const PanelServer>& server,
                                      const Mask& mask);

} // namespace lentora::x11
