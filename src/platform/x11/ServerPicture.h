// Pictures that the server keeps for a panel.
#pragma once

#include "platform/x11/PanelServer.h"
#include "support/Picture.h"

#include <xcb/render.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace lentora::x11 {

/// In units of 1/65536.
inline constexpr xcb_render_transform_t pixelByPixel{0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x10000};

/// A picture and the pixmap below it, freed with the object. Where the server has no room for it,
/// nothing is drawn with it.
class ServerPicture {
public:
    enum class Kind { color, mask, root };

    /// Nothing is known of its pixels.
    ServerPicture(std::shared_ptr<const PanelServer> server, Kind kind, int width, int height);
    /// A reference to pixels of that format that belong to another client.
    ServerPicture(std::shared_ptr<const PanelServer> server, xcb_pixmap_t pixmap,
                  xcb_render_pictformat_t format, int width, int height);
    ~ServerPicture();
    ServerPicture(const ServerPicture&) = delete;
    ServerPicture& operator=(const ServerPicture&) = delete;

    xcb_render_picture_t picture() const { return picture_; }
    xcb_drawable_t pixmap() const { return pixmap_; }
    int width() const { return width_; }
    int height() const { return height_; }

    enum class Filter { nearest, bilinear };
    /// From now on is drawn with so: `toPicture` maps what is drawn on to the picture. A picture
    /// begins with neither scaling nor a filter. Sends what differs from before.
    void setSampling(const xcb_render_transform_t& toPicture, Filter filter);

private:
    const std::shared_ptr<const PanelServer> server_;
    const int width_;
    const int height_;
    xcb_pixmap_t pixmap_ = XCB_NONE;
    bool ownsPixmap_ = true;
    xcb_render_picture_t picture_ = XCB_NONE;
    xcb_render_transform_t transform_ = pixelByPixel;
    Filter filter_ = Filter::nearest;
};

/// A picture of one colour, freed with the object.
class SolidPicture {
public:
    /// Premultiplied.
    SolidPicture(std::shared_ptr<const PanelServer> server, const xcb_render_color_t& color);
    ~SolidPicture();
    SolidPicture(const SolidPicture&) = delete;
    SolidPicture& operator=(const SolidPicture&) = delete;

    xcb_render_picture_t picture() const { return picture_; }

private:
    const std::shared_ptr<const PanelServer> server_;
    const xcb_render_picture_t picture_;
};

std::unique_ptr<ServerPicture> upload(const std::shared_ptr<const PanelServer>& server,
                                      const Picture& picture);

/// Uploads what `now` has different from `before`, which is as large and was uploaded.
void update(const PanelServer& server, const ServerPicture& uploaded, const Picture& before,
            const Picture& now);

/// Values of alpha, row after row.
struct Mask {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> alpha;
};

std::unique_ptr<ServerPicture> upload(const std::shared_ptr<const PanelServer>& server,
                                      const Mask& mask);

} // namespace lentora::x11
