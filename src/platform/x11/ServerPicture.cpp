#include "platform/x11/ServerPicture.h"

#include "platform/x11/PixelRect.h"
#include "platform/x11/ProtocolNumbers.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

namespace lentora::x11 {

namespace {

// Rows of an image begin at multiples of four bytes.
constexpr int rowUnit = 4;

// What comes before the pixels in a request.
constexpr std::size_t requestHeader = 32;

// As many rows at a time as fit into a request.
void put(xcb_connection_t* c, xcb_drawable_t pixmap, std::uint8_t depth, const PixelRect& part,
         std::span<const std::uint8_t> bytes) {
    const int height = part.height;
    const std::size_t rowBytes = bytes.size() / static_cast<std::size_t>(height);
    const std::size_t room = std::size_t{xcb_get_maximum_request_length(c)} * 4 - requestHeader;
    const auto rows = static_cast<int>(std::max<std::size_t>(room / rowBytes, 1));
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, pixmap, 0, nullptr);
    for (int y = 0; y < height; y += rows) {
        const int count = std::min(rows, height - y);
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, gc, side(part.width), side(count),
                      static_cast<std::int16_t>(part.x), static_cast<std::int16_t>(part.y + y), 0,
                      depth, static_cast<std::uint32_t>(rowBytes * static_cast<std::size_t>(count)),
                      bytes.data() + rowBytes * static_cast<std::size_t>(y));
    }
    xcb_free_gc(c, gc);
}

void put(const PanelServer& server, xcb_drawable_t pixmap, const Picture& picture,
         const PixelRect& part) {
    const bool isLittle =
        xcb_get_setup(server.get())->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(part.area()) * 4);
    for (int y = part.y; y < part.maxY(); ++y) {
        for (int x = part.x; x < part.maxX(); ++x) {
            const Pixel& p = picture.at(x, y);
            if (isLittle)
                bytes.insert(bytes.end(), {p.blue, p.green, p.red, p.alpha});
            else
                bytes.insert(bytes.end(), {p.alpha, p.red, p.green, p.blue});
        }
    }
    put(server.get(), pixmap, 32, part, bytes);
}

// Of two pictures of the same size.
PixelRect boundsOfDifference(const Picture& a, const Picture& b) {
    PixelRect bounds;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (a.at(x, y) != b.at(x, y))
                bounds = bounds.isEmpty() ? PixelRect{x, y, 1, 1} : bounding(bounds, {x, y, 1, 1});
        }
    }
    return bounds;
}

} // namespace

ServerPicture::ServerPicture(std::shared_ptr<const PanelServer> server, Kind kind, int width,
                             int height)
    : server_(std::move(server)), width_(width), height_(height) {
    xcb_connection_t* c = server_->get();
    const std::uint8_t depth = kind == Kind::color  ? std::uint8_t{32}
                               : kind == Kind::mask ? std::uint8_t{8}
                                                    : server_->rootDepth();
    const auto format = kind == Kind::color  ? server_->colorFormat()
                        : kind == Kind::mask ? server_->maskFormat()
                                             : server_->rootFormat();
    pixmap_ = xcb_generate_id(c);
    picture_ = xcb_generate_id(c);
    xcb_create_pixmap(c, depth, pixmap_, server_->root(), side(width), side(height));
    // Without this the filter would mix what is outside into the edges, and many drivers are slow.
    const std::uint32_t repeat = XCB_RENDER_REPEAT_PAD;
    xcb_render_create_picture(c, picture_, pixmap_, format, XCB_RENDER_CP_REPEAT, &repeat);
}

ServerPicture::ServerPicture(std::shared_ptr<const PanelServer> server, xcb_pixmap_t pixmap,
                             xcb_render_pictformat_t format, int width, int height)
    : server_(std::move(server)), width_(width), height_(height), pixmap_(pixmap),
      ownsPixmap_(false), picture_(xcb_generate_id(server_->get())) {
    const std::uint32_t repeat = XCB_RENDER_REPEAT_PAD;
    xcb_render_create_picture(server_->get(), picture_, pixmap, format, XCB_RENDER_CP_REPEAT,
                              &repeat);
}

ServerPicture::~ServerPicture() {
    xcb_render_free_picture(server_->get(), picture_);
    if (ownsPixmap_)
        xcb_free_pixmap(server_->get(), pixmap_);
}

void ServerPicture::setSampling(const xcb_render_transform_t& toPicture, Filter filter) {
    xcb_connection_t* c = server_->get();
    if (std::memcmp(&transform_, &toPicture, sizeof toPicture) != 0) {
        transform_ = toPicture;
        xcb_render_set_picture_transform(c, picture_, toPicture);
    }
    if (std::exchange(filter_, filter) == filter)
        return;
    const std::string_view name = filter == Filter::bilinear ? "bilinear" : "nearest";
    xcb_render_set_picture_filter(c, picture_, static_cast<std::uint16_t>(name.size()), name.data(),
                                  0, nullptr);
}

SolidPicture::SolidPicture(std::shared_ptr<const PanelServer> server,
                           const xcb_render_color_t& color)
    : server_(std::move(server)), picture_(xcb_generate_id(server_->get())) {
    xcb_render_create_solid_fill(server_->get(), picture_, color);
}

SolidPicture::~SolidPicture() {
    xcb_render_free_picture(server_->get(), picture_);
}

std::unique_ptr<ServerPicture> upload(const std::shared_ptr<const PanelServer>& server,
                                      const Picture& picture) {
    auto uploaded = std::make_unique<ServerPicture>(server, ServerPicture::Kind::color,
                                                    picture.width(), picture.height());
    put(*server, uploaded->pixmap(), picture, {0, 0, picture.width(), picture.height()});
    return uploaded;
}

void update(const PanelServer& server, const ServerPicture& uploaded, const Picture& before,
            const Picture& now) {
    const PixelRect part = boundsOfDifference(before, now);
    if (!part.isEmpty())
        put(server, uploaded.pixmap(), now, part);
}

std::unique_ptr<ServerPicture> upload(const std::shared_ptr<const PanelServer>& server,
                                      const Mask& mask) {
    auto uploaded =
        std::make_unique<ServerPicture>(server, ServerPicture::Kind::mask, mask.width, mask.height);
    const auto width = static_cast<std::size_t>(mask.width);
    const std::size_t rowBytes = (width + rowUnit - 1) / rowUnit * rowUnit;
    std::vector<std::uint8_t> bytes(rowBytes * static_cast<std::size_t>(mask.height));
    for (std::size_t y = 0; y < static_cast<std::size_t>(mask.height); ++y) {
        std::copy_n(mask.alpha.begin() + static_cast<std::ptrdiff_t>(y * width), width,
                    bytes.begin() + static_cast<std::ptrdiff_t>(y * rowBytes));
    }
    put(server->get(), uploaded->pixmap(), 8, {0, 0, mask.width, mask.height}, bytes);
    return uploaded;
}

} // namespace lentora::x11
