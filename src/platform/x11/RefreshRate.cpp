#include "platform/x11/RefreshRate.h"

#include <xcb/randr.h>

#include <algorithm>
#include <cstdint>
#include <span>

namespace lentora::x11 {

namespace {

// What lies outside is a mistake of the driver's.
constexpr double leastRate = 24;
constexpr double highestRate = 1000;

// RandR's own definition: pixels a second, by pixels of a whole scan.
double rateOf(const xcb_randr_mode_info_t& mode) {
    double lines = mode.vtotal;
    if ((mode.mode_flags & XCB_RANDR_MODE_FLAG_DOUBLE_SCAN) != 0)
        lines *= 2;
    if ((mode.mode_flags & XCB_RANDR_MODE_FLAG_INTERLACE) != 0)
        lines /= 2;
    const double pixels = mode.htotal * lines;
    const double rate = pixels > 0 ? mode.dot_clock / pixels : 0;
    return rate >= leastRate && rate <= highestRate ? rate : 0;
}

std::int64_t sharedArea(const PixelRect& a, const PixelRect& b) {
    const PixelRect both = intersection(a, b);
    return both.isEmpty() ? 0 : std::int64_t{both.width} * both.height;
}

} // namespace

std::vector<RefreshRate> readRefreshRates(const Connection& connection) {
    xcb_connection_t* const c = connection.get();
    const XcbPtr<xcb_randr_get_screen_resources_current_reply_t> resources(
        xcb_randr_get_screen_resources_current_reply(
            c, xcb_randr_get_screen_resources_current(c, connection.root()), nullptr));
    if (!resources)
        return {};
    const std::span crtcs(xcb_randr_get_screen_resources_current_crtcs(resources.get()),
                          resources->num_crtcs);
    const std::span modes(xcb_randr_get_screen_resources_current_modes(resources.get()),
                          resources->num_modes);
    std::vector<xcb_randr_get_crtc_info_cookie_t> cookies;
    cookies.reserve(crtcs.size());
    for (const xcb_randr_crtc_t crtc : crtcs)
        cookies.push_back(xcb_randr_get_crtc_info(c, crtc, resources->config_timestamp));

    std::vector<RefreshRate> rates;
    for (const auto cookie : cookies) {
        const XcbPtr<xcb_randr_get_crtc_info_reply_t> crtc(
            xcb_randr_get_crtc_info_reply(c, cookie, nullptr));
        if (!crtc)
            continue;
        const auto mode = std::ranges::find(modes, crtc->mode, &xcb_randr_mode_info_t::id);
        if (mode != modes.end())
            rates.push_back({{crtc->x, crtc->y, crtc->width, crtc->height}, rateOf(*mode)});
    }
    return rates;
}

double refreshRateOf(const PixelRect& display, const std::vector<RefreshRate>& rates) {
    const auto most = std::ranges::max_element(
        rates, {}, [&](const RefreshRate& rate) { return sharedArea(rate.shown, display); });
    const bool isShown = most != rates.end() && sharedArea(most->shown, display) > 0;
    return isShown ? most->hertz : 0;
}

} // namespace lentora::x11
