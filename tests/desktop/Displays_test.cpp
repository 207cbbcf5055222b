// The monitors of a real X server, the desktop's scale, and the pointer.
#include "desktop/WindowFixture.h"
#include "platform/x11/X11Permissions.h"
#include "platform/x11/X11Pointer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <array>
#include <csignal>

namespace lentora::test {
namespace {

using testing::ElementsAre;
using x11::XcbPtr;

class DisplaysTest : public WindowFixture {
protected:
    void SetUp() override {
        WindowFixture::SetUp();
        std::string error;
        pointer = x11::X11Pointer::open(server->displayName(), *desktop, error);
        ASSERT_TRUE(pointer) << error;
    }

    std::vector<Rect> frames() {
        now();
        std::vector<Rect> found;
        for (const Screen& screen : displays().screens())
            found.push_back(screen.frame);
        return found;
    }

    x11::X11Displays displays() { return x11::X11Displays(*desktop); }

    /// Plugs a monitor of 1280x720 pixels into the second output, and puts it at a place.
    void plugSecond(int x, int y) {
        xcb_connection_t* const c = app->connection().get();
        const auto resources = screenResources();
        ASSERT_TRUE(resources);
        const xcb_randr_output_t output =
            xcb_randr_get_screen_resources_outputs(resources.get())[1];
        xcb_randr_mode_info_t info{};
        info.width = 1280;
        info.height = 720;
        info.dot_clock = 74'250'000;
        info.htotal = 1650;
        info.hsync_start = 1390;
        info.hsync_end = 1430;
        info.vtotal = 750;
        info.vsync_start = 725;
        info.vsync_end = 730;
        const std::string name = "test1280x720";
        info.name_len = static_cast<std::uint16_t>(name.size());
        const XcbPtr<xcb_randr_create_mode_reply_t> mode(xcb_randr_create_mode_reply(
            c,
            xcb_randr_create_mode(c, app->root(), info, static_cast<std::uint32_t>(name.size()),
                                  name.data()),
            nullptr));
        ASSERT_TRUE(mode);
        xcb_randr_add_output_mode(c, output, mode->mode);
        xcb_randr_set_screen_size(c, app->root(), 4000, 2000, 1000, 500);
        // The server lists the primary monitor's parts first, so the order may change.
        firstCrtc_ = xcb_randr_get_screen_resources_crtcs(resources.get())[0];
        firstOutput_ = xcb_randr_get_screen_resources_outputs(resources.get())[0];
        secondCrtc_ = xcb_randr_get_screen_resources_crtcs(resources.get())[1];
        secondOutput_ = output;
        setCrtc(secondCrtc_, x, y, mode->mode, {output});
    }

    void unplugSecond() { setCrtc(secondCrtc_, 0, 0, 0, {}); }

    void moveFirst(int x, int y) {
        const XcbPtr<xcb_randr_get_crtc_info_reply_t> info(xcb_randr_get_crtc_info_reply(
            app->connection().get(),
            xcb_randr_get_crtc_info(app->connection().get(), firstCrtc_, XCB_CURRENT_TIME),
            nullptr));
        ASSERT_TRUE(info);
        setCrtc(firstCrtc_, x, y, info->mode, {firstOutput_});
    }

    void makeSecondPrimary() {
        xcb_randr_set_output_primary(app->connection().get(), app->root(), secondOutput_);
    }

    std::unique_ptr<x11::X11Pointer> pointer;

private:
    XcbPtr<xcb_randr_get_screen_resources_reply_t> screenResources() {
        return XcbPtr<xcb_randr_get_screen_resources_reply_t>(xcb_randr_get_screen_resources_reply(
            app->connection().get(),
            xcb_randr_get_screen_resources(app->connection().get(), app->root()), nullptr));
    }

    void setCrtc(xcb_randr_crtc_t crtc, int x, int y, xcb_randr_mode_t mode,
                 const std::vector<xcb_randr_output_t>& outputs) {
        const XcbPtr<xcb_randr_set_crtc_config_reply_t> reply(xcb_randr_set_crtc_config_reply(
            app->connection().get(),
            xcb_randr_set_crtc_config(app->connection().get(), crtc, XCB_CURRENT_TIME,
                                      XCB_CURRENT_TIME, static_cast<std::int16_t>(x),
                                      static_cast<std::int16_t>(y), mode,
                                      XCB_RANDR_ROTATION_ROTATE_0,
                                      static_cast<std::uint32_t>(outputs.size()), outputs.data()),
            nullptr));
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->status, XCB_RANDR_SET_CONFIG_SUCCESS);
    }

    xcb_randr_crtc_t firstCrtc_ = 0;
    xcb_randr_crtc_t secondCrtc_ = 0;
    xcb_randr_output_t firstOutput_ = 0;
    xcb_randr_output_t secondOutput_ = 0;
};

TEST_F(DisplaysTest, MonitorsComeGoAndMoveAndThePrimaryOneIsFirst) {
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}));
    plugSecond(1920, 100);
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}, Rect{1920, 260, 1280, 720}));
    makeSecondPrimary();
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1280, 720}, Rect{-1920, -260, 1920, 1080}));

    // CG space begins at the primary monitor.
    app->createNamed("window", {1920, 100, 200, 100});
    EXPECT_EQ(titled("window").bounds, (Rect{0, 0, 200, 100}));
    server->injector().movePointer(1930, 110);
    EXPECT_EQ(pointer->location(), (Point{10, 710}));

    app->focus(titled("window").id);
    now();
    ASSERT_TRUE(displays().mainScreen());
    EXPECT_EQ(displays().mainScreen()->frame, (Rect{0, 0, 1280, 720}));

    unplugSecond();
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}));
    // The monitor that it was on is gone.
    EXPECT_FALSE(titled("window").isOnScreen);
    EXPECT_EQ(displays().mainScreen(), std::nullopt);
    moveFirst(40, 50);
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(titled("window").bounds, (Rect{1880, 50, 200, 100}));
}

TEST_F(DisplaysTest, TheScaleOfTheDesktopHoldsForAllThatIsInPoints) {
    app->setText(app->root(), "RESOURCE_MANAGER", "STRING",
                 "Xcursor.size:\t48\nXft.dpi:\t192\nXft.hinting:\t1\n");
    app->createNamed("window", {100, 200, 301, 201});
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 960, 540}));
    EXPECT_EQ(displays().screens().front().scale, 2);
    EXPECT_EQ(titled("window").bounds, (Rect{50, 100, 150.5, 100.5}));
    server->injector().movePointer(100, 200);
    EXPECT_EQ(pointer->location(), (Point{50, 440}));
    app->removeProperty(app->root(), "RESOURCE_MANAGER");
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}));
}

// Nobody asks for the windows here: the thread must look by itself.
TEST_F(DisplaysTest, AChangeIsSeenWithoutAQuestion) {
    app->setText(app->root(), "RESOURCE_MANAGER", "STRING", "Xft.dpi: 144");
    app->finish();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (displays().screens().front().scale != 1.5)
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
}

TEST_F(DisplaysTest, ThePointerStaysWhereItWasLastSeen) {
    server->injector().movePointer(300, 80);
    EXPECT_EQ(pointer->location(), (Point{300, 1000}));
    const x11::X11Permissions permissions(x11::abilitiesOf(app->connection()));
    EXPECT_TRUE(permissions.screenRecording());
    EXPECT_TRUE(permissions.accessibility());
    EXPECT_TRUE(permissions.inputMonitoring());
    ::kill(server->serverPid(), SIGKILL);
    while (server->running()) {
    }
    EXPECT_EQ(pointer->location(), (Point{300, 1000}));
    EXPECT_EQ(x11::abilitiesOf(app->connection()), x11::ServerAbilities{});
}

} // namespace
} // namespace lentora::test
