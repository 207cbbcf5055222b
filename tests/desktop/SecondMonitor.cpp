#include "desktop/SecondMonitor.h"

#include <gtest/gtest.h>

#include <string>

namespace lentora::test {

using x11::XcbPtr;

void SecondMonitor::plug(int x, int y, int refreshRate) {
    xcb_connection_t* const c = connection_.get();
    const XcbPtr<xcb_randr_get_screen_resources_reply_t> resources(
        xcb_randr_get_screen_resources_reply(
            c, xcb_randr_get_screen_resources(c, connection_.root()), nullptr));
    ASSERT_TRUE(resources);
    // The server lists the primary monitor's parts first, so the order may change later.
    const auto* crtcs = xcb_randr_get_screen_resources_crtcs(resources.get());
    const auto* outputs = xcb_randr_get_screen_resources_outputs(resources.get());
    firstCrtc_ = crtcs[0];
    firstOutput_ = outputs[0];
    secondCrtc_ = crtcs[1];
    secondOutput_ = outputs[1];

    const xcb_randr_mode_t mode = makeMode(refreshRate);
    xcb_randr_add_output_mode(c, secondOutput_, mode);
    xcb_randr_set_screen_size(c, connection_.root(), 4000, 2000, 1000, 500);
    setCrtc(secondCrtc_, x, y, mode, {secondOutput_});
}

void SecondMonitor::unplug() {
    setCrtc(secondCrtc_, 0, 0, 0, {});
}

void SecondMonitor::makePrimary() {
    xcb_randr_set_output_primary(connection_.get(), connection_.root(), secondOutput_);
}

void SecondMonitor::moveFirst(int x, int y) {
    xcb_connection_t* const c = connection_.get();
    const XcbPtr<xcb_randr_get_crtc_info_reply_t> info(xcb_randr_get_crtc_info_reply(
        c, xcb_randr_get_crtc_info(c, firstCrtc_, XCB_CURRENT_TIME), nullptr));
    ASSERT_TRUE(info);
    setCrtc(firstCrtc_, x, y, info->mode, {firstOutput_});
}

xcb_randr_mode_t SecondMonitor::makeMode(int refreshRate) const {
    xcb_randr_mode_info_t info{};
    info.width = width;
    info.height = height;
    info.htotal = 1650;
    info.hsync_start = 1390;
    info.hsync_end = 1430;
    info.vtotal = 750;
    info.vsync_start = 725;
    info.vsync_end = 730;
    info.dot_clock = static_cast<std::uint32_t>(info.htotal * info.vtotal * refreshRate);
    const std::string name = "test1280x720";
    info.name_len = static_cast<std::uint16_t>(name.size());
    xcb_connection_t* const c = connection_.get();
    const XcbPtr<xcb_randr_create_mode_reply_t> mode(xcb_randr_create_mode_reply(
        c,
        xcb_randr_create_mode(c, connection_.root(), info, static_cast<std::uint32_t>(name.size()),
                              name.data()),
        nullptr));
    EXPECT_TRUE(mode);
    return mode ? mode->mode : XCB_NONE;
}

void SecondMonitor::setCrtc(xcb_randr_crtc_t crtc, int x, int y, xcb_randr_mode_t mode,
                            const std::vector<xcb_randr_output_t>& outputs) const {
    xcb_connection_t* const c = connection_.get();
    const XcbPtr<xcb_randr_set_crtc_config_reply_t> reply(xcb_randr_set_crtc_config_reply(
        c,
        xcb_randr_set_crtc_config(c, crtc, XCB_CURRENT_TIME, XCB_CURRENT_TIME,
                                  static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), mode,
                                  XCB_RANDR_ROTATION_ROTATE_0,
                                  static_cast<std::uint32_t>(outputs.size()), outputs.data()),
        nullptr));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->status, XCB_RANDR_SET_CONFIG_SUCCESS);
}

} // namespace lentora::test
