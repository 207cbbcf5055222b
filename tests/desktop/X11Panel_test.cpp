// The lens on a real server, pixel by pixel.
#include "desktop/AppWindow.h"
#include "desktop/PanelFixture.h"
#include "platform/WindowList.h"
#include "platform/x11/X11Desktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/damage.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {
namespace {

constexpr int corner = 10;

// A lens on a desktop with 1.5 pixels a point.
const LensShape largeShape{.border = 3, .corner = 15, .hidden = {}};

class X11Panel : public PanelFixture {};

class X11PanelAnywhere : public PanelFixtureAnywhere {};

INSTANTIATE_TEST_SUITE_P(Desktops, X11PanelAnywhere, testing::Bool(), [](const auto& desktop) {
    return desktop.param ? "Composited" : "Plain";
});

// Adds up what the server reports as drawn on a window.
class DamageMeter {
public:
    DamageMeter(const std::string& display, xcb_window_t window) {
        std::string error;
        server_ = x11::CaptureServer::open(display, error);
        damage_ = xcb_generate_id(server_->get());
        xcb_damage_create(server_->get(), damage_, window, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
        finish();
    }

    /// The area of the rectangles drawn since the last call.
    int take() {
        finish();
        area_ = 0;
        while (const x11::XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(server_->get())}) {
            const auto& part = reinterpret_cast<const xcb_damage_notify_event_t&>(*event);
            area_ += part.area.width * part.area.height;
        }
        return area_;
    }
    int takenArea() const { return area_; }

private:
    void finish() {
        const x11::XcbPtr<xcb_get_input_focus_reply_t> done(xcb_get_input_focus_reply(
            server_->get(), xcb_get_input_focus(server_->get()), nullptr));
    }

    std::shared_ptr<const x11::CaptureServer> server_;
    xcb_damage_damage_t damage_ = XCB_NONE;
    int area_ = 0;
};

TEST_P(X11PanelAnywhere, MagnifiesAboutTheFocusAtEveryZoom) {
    const Picture window = noise(part.width, part.height);
    const auto shown = showing(window, part.x, part.y);
    makeLens();
    openLens(part);
    const double width = lens.width;
    const double height = lens.height;
    for (const Point focus : {Point{0, 0}, Point{width, height}, Point{width, 0}, Point{0, height},
                              Point{123, 45}, Point{200.5, 150.25}}) {
        for (const double factor : {1.0, 1.5, 2.5, 10.0}) {
            zoom(focus, factor);
            const double worst =
                worstInside(screen(part), window, {focus.x, height - focus.y}, factor);
            EXPECT_LE(worst, factor == 1 ? 0 : filterTolerance)
                << factor << " about " << focus.x << "," << focus.y;
        }
    }
}

TEST_P(X11PanelAnywhere, ShowsTheWindowUnchangedAtItsOwnSizeOnADesktopWithLargePoints) {
    const Picture window = noise(part.width, part.height);
    const auto shown = showing(window, part.x, part.y);
    makeLens(1.5);
    openLens(part);
    EXPECT_EQ(worstInside(screen(part), window, {0, 0}, 1, largeShape), 0);
    zoom({100, 100}, 2);
    const Point focus{100 * scale, part.height - 100 * scale};
    EXPECT_LE(worstInside(screen(part), window, focus, 2, largeShape), filterTolerance);
}

TEST_P(X11PanelAnywhere, HasASmoothWhiteBorderAndRoundCornersAndNothingOutside) {
    const Picture black(part.width, part.height, {0, 0, 0, 255});
    const auto shown = showing(black, part.x, part.y);
    makeLens();
    const Picture before = screen();
    openLens(part);
    zoom({10, 10}, 3);
    const Picture after = screen();
    int outside = 0;
    for (int y = 0; y < screenHeight; ++y) {
        for (int x = 0; x < screenWidth; ++x) {
            const bool isOutside = x < part.x || y < part.y || x >= part.maxX() || y >= part.maxY();
            outside += isOutside && after.at(x, y) != before.at(x, y) ? 1 : 0;
        }
    }
    EXPECT_EQ(outside, 0);
    // White at 0.9 over black along the straight edges, two pixels wide.
    const int middle = part.y + part.height / 2;
    EXPECT_NEAR(after.at(part.x, middle).red, 230, 1);
    EXPECT_NEAR(after.at(part.x + 1, middle).red, 230, 1);
    EXPECT_EQ(after.at(part.x + 2, middle).red, 0);
    EXPECT_NEAR(after.at(part.maxX() - 1, middle).red, 230, 1);
    EXPECT_NEAR(after.at(part.x + 50, part.maxY() - 1).red, 230, 1);
    EXPECT_EQ(after.at(part.x + 50, part.maxY() - 3).red, 0);
    // Along the corner's diagonal: the window, the edge in steps between, the lens.
    std::vector<int> greys;
    for (int i = 0; i < corner; ++i)
        greys.push_back(after.at(part.x + i, part.y + i).red);
    EXPECT_EQ(greys.front(), 0);
    EXPECT_EQ(greys.back(), 0);
    EXPECT_THAT(greys, testing::Contains(testing::AllOf(testing::Gt(20), testing::Lt(210))));
    EXPECT_THAT(greys, testing::Contains(testing::Gt(220)));
}

TEST_P(X11PanelAnywhere, DrawsOnlyWhatChangedAndNothingWhenNothingDid) {
    const Picture window = noise(part.width, part.height);
    const auto shown = showing(window, part.x, part.y);
    makeLens();
    openLens(part);
    zoom({200, 150}, 2);

    const auto quiet = panels->bytesSent();
    loop.runFor(0.3);
    EXPECT_EQ(panels->bytesSent(), quiet);

    // A change of 4 x 4 pixels is one of little more than 8 x 8 in the lens.
    DamageMeter meter(desktop->displayName(), panel->windowNumber());
    if (auto newest = frames->untilQuiet())
        showFrame(std::move(newest));
    loop.runUntilQuiet();
    meter.take();
    const auto sentBefore = panels->bytesSent();
    shown->paint({200, 150, 4, 4}, 0xFF0000);
    showFrame(awaitColour(201, 151, 0xFF0000));
    loop.runUntilQuiet();
    EXPECT_GE(meter.take(), 8 * 8);
    EXPECT_LE(panels->bytesSent() - sentBefore, 1000U);
    // Around the middle of the lens, which shows the middle of the window.
    const PixelRect red{part.x + 201, part.y + 151, 4, 4};
    EXPECT_EQ(screen(red), Picture(4, 4, Pixel{255, 0, 0, 255}));
    EXPECT_LE(meter.takenArea(), 14 * 14);

    // A move of the image draws the lens, in few words.
    const auto before = panels->bytesSent();
    zoom({200, 150}, 3);
    EXPECT_LE(panels->bytesSent() - before, 2000U);
    EXPECT_GE(meter.take(), part.width * part.height * 9 / 10);
}

// A screen is large, and the first frame of a lens would have to wait for its drawing.
TEST_P(X11PanelAnywhere, ComesOnceAndWithoutWhatIsNotInIt) {
    makeLens();
    // As a lens that opens on another monitor than the one before.
    panel->setFrame({0, 0, 400, 300});
    panel->setFrame({0, 0, screenWidth, screenHeight});
    loop.runUntilQuiet();
    DamageMeter meter(desktop->displayName(), panel->windowNumber());
    openLens(part);
    // The server's own background, where it has to be drawn; the lens on its pixmap and on the
    // window.
    const auto background = GetParam() ? screenWidth * screenHeight : part.width * part.height;
    EXPECT_LE(meter.take(), background + 5 * part.width * part.height / 2);
}

TEST_F(X11Panel, AtMostOneDrawingIsOnItsWay) {
    const auto shown = showing(noise(part.width, part.height), part.x, part.y);
    makeLens();
    openLens(part);
    zoom({200, 150}, 2);
    const auto before = panels->bytesSent();
    zoom({200, 150}, 2.5);
    const auto perFrame = panels->bytesSent() - before;
    ::kill(desktop->serverPid(), SIGSTOP);
    for (int i = 0; i < 20; ++i) {
        view->apply({200, 150}, 3 + 0.1 * i);
        loop.runFor(0.02);
    }
    EXPECT_LE(panels->bytesSent() - before, 2 * perFrame + 100);
    ::kill(desktop->serverPid(), SIGCONT);
    zoom({200, 150}, 1);
    EXPECT_EQ(worstInside(screen(part), noise(part.width, part.height), {0, 0}, 1), 0);
}

TEST_P(X11PanelAnywhere, LetsAllInputThroughAndNeverTakesTheKeyboard) {
    AppWindow app(desktop->displayName(), AppWindow::Protocol::xinput2);
    makeLens();
    const xcb_window_t focused = focus();
    auto& hands = desktop->injector();
    using Places = std::vector<std::pair<int, int>>;
    const auto expectInputAt = [&](const std::string& state, const Places& places) {
        for (const auto& [x, y] : places) {
            hands.movePointer(x, y);
            app.takeEvents();
            hands.click(1);
            hands.wheel(1);
            hands.tap(testdesktop::Key::A);
            hands.pinch({1.0, 1.5});
            using testing::Contains;
            EXPECT_THAT(app.takeEvents(),
                        testing::AllOf(Contains("button 1 down"), Contains("button 4 down"),
                                       Contains("key 38 down"), Contains("pinch begin")))
                << state << " at " << x << "," << y;
            EXPECT_EQ(focus(), focused) << state;
        }
    };
    // The badge alone, as when it tells that the next lens will stay.
    panel->orderFrontRegardless();
    view->setCursorBadge(true, 1);
    transactions.withoutAnimation([&] { view->cursorBadge()->setPosition({600, 300}); });
    loop.runUntilQuiet();
    ASSERT_NE(screen({600, 300, 1, 1}), screen({700, 500, 1, 1}));
    expectInputAt("armed", {{600, 300}, {605, 300}, {700, 500}});

    openLens(part);
    view->showHint("Editor", 200, "Esc: close");
    ASSERT_TRUE(loop.runUntil([&] { return view->hint().hintLabel()->opacity() == 1; }));
    zoom({200, 150}, 2);
    // The lens, its border, its corner, the hint card, and beside them.
    const Places everywhere{{300, 200}, {101, 200}, {102, 82}, {40, 570}, {700, 500}};
    expectInputAt("open", everywhere);

    // The loop stands still during the input, and so does what is on the screen.
    const auto before = panels->bytesSent();
    view->releaseSession();
    ASSERT_TRUE(loop.runUntil([&] { return panels->bytesSent() > before; }));
    expectInputAt("closing", everywhere);
    loop.runUntilQuiet();
    expectInputAt("closed", everywhere);
}

TEST_P(X11PanelAnywhere, FollowsMovementsToTheirEndAndRests) {
    const auto shown = showing(Picture(part.width, part.height, {0, 0, 0, 255}), part.x, part.y);
    makeLens();
    openLens(part);
    view->releaseSession();
    loop.runFor(0.25);
    EXPECT_EQ(screen(part), Picture(part.width, part.height, Pixel{0, 0, 0, 255}));
    const auto quiet = panels->bytesSent();
    loop.runFor(0.2);
    EXPECT_EQ(panels->bytesSent(), quiet);
}

TEST_P(X11PanelAnywhere, ComesBackAfterItsPixelsWereLostAndAfterHiding) {
    const Picture window = noise(part.width, part.height);
    const auto shown = showing(window, part.x, part.y);
    makeLens();
    openLens(part);
    zoom({0, 0}, 2);
    const Picture seen = screen(part);
    xcb_clear_area(program->get(), 1, panel->windowNumber(), 20, 20, 200, 200);
    program->finish();
    EXPECT_TRUE(loop.runUntil([&] { return screen(part) == seen; }));
    panel->orderOut();
    ASSERT_TRUE(loop.runUntil([&] { return screen(part) == window; }));
    panel->orderFrontRegardless();
    EXPECT_TRUE(loop.runUntil([&] { return screen(part) == seen; }));
}

TEST_F(X11Panel, TellsWhoItIs) {
    makeLens();
    xcb_connection_t* c = program->get();
    const auto property = [&](xcb_atom_t name) {
        const x11::XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            c, xcb_get_property(c, 0, panel->windowNumber(), name, XCB_ATOM_ANY, 0, 100), nullptr));
        return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
                           static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    };
    loop.runUntilQuiet();
    using namespace std::string_literals;
    EXPECT_EQ(property(XCB_ATOM_WM_CLASS), "lentora-lens\0Lentora\0"s);
    EXPECT_EQ(property(program->atom("_NET_WM_NAME")), "Lentora");
    std::uint32_t pid = 0;
    ASSERT_EQ(property(program->atom("_NET_WM_PID")).copy(reinterpret_cast<char*>(&pid), 4), 4U);
    EXPECT_EQ(pid, static_cast<std::uint32_t>(::getpid()));

    // It can be captured, so that it can be left out, and is no window to magnify.
    panel->orderFrontRegardless();
    loop.runUntilQuiet();
    std::string error;
    const auto watched = x11::X11Desktop::open({.display = desktop->displayName()}, error);
    ASSERT_TRUE(watched) << error;
    const auto snapshot = watched->current();
    ASSERT_TRUE(snapshot);
    const x11::DesktopWindow* own = snapshot->find(panel->windowNumber());
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->layer, windowLayer::screenSaver);
}

TEST_F(X11Panel, OutlivesALostServer) {
    makeLens();
    openLens(part);
    ::kill(desktop->serverPid(), SIGKILL);
    EXPECT_TRUE(loop.runUntil([&] { return lostServers > 0; }));
    zoom({0, 0}, 2);
    panel->orderOut();
    panel->orderFrontRegardless();
    loop.runUntilQuiet();
    EXPECT_EQ(lostServers, 1);
}

} // namespace
} // namespace lentora::test
