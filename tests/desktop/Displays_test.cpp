// The monitors of a real X server, the desktop's scale, and the pointer.
#include "desktop/SecondMonitor.h"
#include "desktop/WindowFixture.h"
#include "platform/x11/X11Permissions.h"
#include "platform/x11/X11Pointer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>

namespace lentora::test {
namespace {

using testing::ElementsAre;

class DisplaysTest : public WindowFixture {
protected:
    void SetUp() override {
        WindowFixture::SetUp();
        std::string error;
        pointer = x11::X11Pointer::open(server->displayName(), *desktop, error);
        ASSERT_TRUE(pointer) << error;
        monitor = std::make_unique<SecondMonitor>(app->connection());
    }

    std::vector<Rect> frames() {
        now();
        std::vector<Rect> found;
        for (const Screen& screen : displays().screens())
            found.push_back(screen.frame);
        return found;
    }

    x11::X11Displays displays() { return x11::X11Displays(*desktop); }

    std::unique_ptr<x11::X11Pointer> pointer;
    std::unique_ptr<SecondMonitor> monitor;
};

TEST_F(DisplaysTest, MonitorsComeGoAndMoveAndThePrimaryOneIsFirst) {
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}));
    monitor->plug(1920, 100);
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}, Rect{1920, 260, 1280, 720}));
    EXPECT_NEAR(refreshInterval(desktop->last()->layout, {1920, 100, 1280, 720}), 1 / 60.0, 1e-4);
    monitor->makePrimary();
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

    monitor->unplug();
    EXPECT_THAT(frames(), ElementsAre(Rect{0, 0, 1920, 1080}));
    // The monitor that it was on is gone.
    EXPECT_FALSE(titled("window").isOnScreen);
    EXPECT_EQ(displays().mainScreen(), std::nullopt);
    monitor->moveFirst(40, 50);
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
