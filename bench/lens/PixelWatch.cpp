#include "lens/PixelWatch.h"

#include <poll.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace lentora::bench {
namespace {

constexpr int tolerance = 12;

} // namespace

bool isNear(std::uint32_t one, std::uint32_t other) {
    for (int shift = 0; shift < 24; shift += 8) {
        const int difference =
            static_cast<int>(one >> shift & 0xFF) - static_cast<int>(other >> shift & 0xFF);
        if (std::abs(difference) > tolerance)
            return false;
    }
    return true;
}

PixelWatch::PixelWatch(const std::string& display) {
    std::string error;
    connection_ = x11::Connection::open(display, error);
    if (!connection_)
        throw std::runtime_error(error);
    xcb_connection_t* c = connection_->get();
    const x11::XcbPtr<xcb_damage_query_version_reply_t> version(
        xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
    const auto extension = connection_->extension(xcb_damage_id);
    if (!version || !extension)
        throw std::runtime_error("the server does not report damage");
    damageNotify_ = extension->firstEvent;
}

std::vector<std::uint32_t> PixelWatch::read(const Area& area) const {
    xcb_connection_t* c = connection_->get();
    const x11::XcbPtr<xcb_get_image_reply_t> image(xcb_get_image_reply(
        c,
        xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), static_cast<std::int16_t>(area.x),
                      static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                      static_cast<std::uint16_t>(area.height), ~0U),
        nullptr));
    if (!image)
        throw std::runtime_error("the screen cannot be read");
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(area.width) *
                                      static_cast<std::size_t>(area.height));
    std::memcpy(pixels.data(), xcb_get_image_data(image.get()), 4 * pixels.size());
    for (std::uint32_t& pixel : pixels)
        pixel &= 0xFFFFFF;
    return pixels;
}

std::uint32_t PixelWatch::read(const Spot& spot) const {
    return read(Area{spot.x, spot.y, 1, 1}).front();
}

void PixelWatch::begin(xcb_window_t window, const Spot& spot) {
    spot_ = spot;
    damage_ = xcb_generate_id(connection_->get());
    xcb_damage_create(connection_->get(), damage_, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    xcb_damage_subtract(connection_->get(), damage_, XCB_NONE, XCB_NONE);
    initial_ = read(spot);
}

void PixelWatch::end() {
    xcb_damage_destroy(connection_->get(), damage_);
    xcb_flush(connection_->get());
}

std::optional<Clock::time_point> PixelWatch::await(std::optional<std::uint32_t> color,
                                                   Clock::time_point limit) {
    while (awaitDamage(limit)) {
        // Before the pixel is read: what is drawn after that tells again.
        xcb_damage_subtract(connection_->get(), damage_, XCB_NONE, XCB_NONE);
        const std::uint32_t seen = read(spot_);
        const auto now = Clock::now();
        if (color ? isNear(seen, *color) : seen != initial_)
            return now;
    }
    return std::nullopt;
}

bool PixelWatch::awaitDamage(Clock::time_point limit) const {
    for (;;) {
        while (
            const x11::XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection_->get())}) {
            if (event->response_type == damageNotify_)
                return true;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
        if (left <= 0 || connection_->isLost())
            return false;
        pollfd descriptor{connection_->fileDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, static_cast<int>(left));
    }
}

} // namespace lentora::bench
