// The lens on a real server, pixel by pixel.
#include "desktop/AppWindow.h"
#include "desktop/LensFixture.h"
#include "platform/WindowList.h"
#include "platform/x11/RaiseBudget.h"
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

// The border and the round corners of the lens, in points.
constexpr int border = 2;
constexpr int corner = 10;
// The same, in pixels, of a desktop with 1.5 of them a point.
constexpr int largeBorder = 3;
constexpr int largeCorner = 15;

// What the server's filter may be off: it counts in 128ths of a pixel.
constexpr double filterTolerance = 6;

class X11Panel : public LensFixture {
protected:
    const PixelRect part{100, 80, 401, 301};
};

// The picture between its pixels' centres.
std::array<double, 3> sample(const Picture& picture, double x, double y) {
    const auto at = [&](int column, int row) -> const Pixel& {
        return picture.at(std::clamp(column, 0, picture.width() - 1),
                          std::clamp(row, 0, picture.height() - 1));
    };
    const double left = std::floor(x - 0.5);
    const double top = std::floor(y - 0.5);
    const double right = x - 0.5 - left;
    const double bottom = y - 0.5 - top;
    const int i = static_cast<int>(left);
    const int j = static_cast<int>(top);
    std::array<double, 3> mixed{};
    const auto add = [&](const Pixel& p, double weight) {
        mixed[0] += weight * p.red;
        mixed[1] += weight * p.green;
        mixed[2] += weight * p.blue;
    };
    add(at(i, j), (1 - right) * (1 - bottom));
    add(at(i + 1, j), right * (1 - bottom));
    add(at(i, j + 1), (1 - right) * bottom);
    add(at(i + 1, j + 1), right * bottom);
    return mixed;
}

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

// The largest difference between what is seen inside the lens's border and the window's picture
// at the places that the zoom about `focus` (pixels from the top left) puts there.
double worstInside(const Picture& seen, const Picture& window, Point focus, double zoom,
                   int edge = border, int round = corner) {
    double worst = 0;
    for (int y = edge; y < seen.height() - edge; ++y) {
        for (int x = edge; x < seen.width() - edge; ++x) {
            const bool isInCorner = std::min(x, seen.width() - 1 - x) < round &&
                                    std::min(y, seen.height() - 1 - y) < round;
            if (isInCorner)
                continue;
            const auto expected = sample(window, focus.x + (x + 0.5 - focus.x) / zoom,
                                         focus.y + (y + 0.5 - focus.y) / zoom);
            const Pixel& p = seen.at(x, y);
            worst = std::max({worst, std::abs(p.red - expected[0]), std::abs(p.green - expected[1]),
                              std::abs(p.blue - expected[2])});
        }
    }
    return worst;
}

TEST_F(X11Panel, MagnifiesAboutTheFocusAtEveryZoom) {
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

TEST_F(X11Panel, ShowsTheWindowUnchangedAtItsOwnSizeOnADesktopWithLargePoints) {
    const Picture window = noise(part.width, part.height);
    const auto shown = showing(window, part.x, part.y);
    makeLens(1.5);
    openLens(part);
    EXPECT_EQ(worstInside(screen(part), window, {0, 0}, 1, largeBorder, largeCorner), 0);
    zoom({100, 100}, 2);
    const Point focus{100 * scale, part.height - 100 * scale};
    EXPECT_LE(worstInside(screen(part), window, focus, 2, largeBorder, largeCorner),
              filterTolerance);
}

TEST_F(X11Panel, HasASmoothWhiteBorderAndRoundCornersAndNothingOutside) {
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

TEST_F(X11Panel, DrawsOnlyWhatChangedAndNothingWhenNothingDid) {
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

TEST_F(X11Panel, LetsAllInputThroughAndNeverTakesTheKeyboard) {
    AppWindow app(desktop->displayName(), AppWindow::Protocol::xinput2);
    makeLens();
    openLens(part);
    view->setCursorBadge(true, 1);
    view->showHint("Editor", 200, "Esc: close");
    ASSERT_TRUE(loop.runUntil([&] { return view->hint().hintLabel()->opacity() == 1; }));
    zoom({200, 150}, 2);
    const auto focus = [&] {
        const x11::XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
            program->get(), xcb_get_input_focus(program->get()), nullptr));
        return reply->focus;
    };
    const xcb_window_t focused = focus();
    auto& hands = desktop->injector();
    // The lens, its border, its corner, the hint card, and beside them.
    for (const auto& [x, y] : {std::pair{300, 200}, {101, 200}, {102, 82}, {40, 570}, {700, 500}}) {
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
            << x << "," << y;
        loop.runFor(0.01);
        EXPECT_EQ(focus(), focused);
    }
}

TEST_F(X11Panel, StaysOnTopWithoutFightingForEver) {
    makeLens();
    openLens(part);
    const auto topmost = [&] {
        const x11::XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(
            program->get(), xcb_query_tree(program->get(), program->root()), nullptr));
        return xcb_query_tree_children(tree.get())[xcb_query_tree_children_length(tree.get()) - 1];
    };
    const auto isOnTop = [&] { return topmost() == panel->windowNumber(); };
    const auto rival = window({0, 0, screenWidth, screenHeight}, 0x00FF00);
    EXPECT_TRUE(loop.runUntil(isOnTop));
    rival.raise();
    EXPECT_TRUE(loop.runUntil(isOnTop));

    // A window that always wants to be on top as well.
    int raised = 0;
    const double end = loop.clock().now() + 1;
    loop.runUntil([&] {
        if (isOnTop()) {
            rival.raise();
            program->finish();
            ++raised;
        }
        return loop.clock().now() > end;
    });
    EXPECT_GE(raised, 2);
    EXPECT_LE(raised, x11::RaiseBudget::burst + 4);
    // When the other gives in, the panel is on top in the end.
    EXPECT_TRUE(loop.runUntil(isOnTop));
}

TEST_F(X11Panel, WithACompositorItIsTranslucentAndWithoutOneItLooksTheSame) {
    const Picture window = noise(part.width, part.height);
    const auto below = showing(noise(screenWidth, screenHeight), 0, 0);
    const auto shown = showing(window, part.x, part.y);
    makeLens();
    const Picture before = screen();
    openLens(part);
    zoom({200, 150}, 2);
    transactions.withoutAnimation([&] {
        view->clipLayer()->setOpacity(0.5);
        view->cursorBadge()->setOpacity(1);
        view->cursorBadge()->setPosition({600, 300});
    });
    loop.runUntilQuiet();
    const Picture plain = screen();
    // Half of the lens, half of the window below it, which are sums of different noise.
    const Pixel& mixed = plain.at(part.x + 60, part.y + 60);
    EXPECT_NE(mixed, before.at(part.x + 60, part.y + 60));

    const auto worst = [&](const Picture& seen, const PixelRect& area) {
        int most = 0;
        for (int y = area.y; y < area.maxY(); ++y) {
            for (int x = area.x; x < area.maxX(); ++x) {
                const Pixel& a = seen.at(x, y);
                const Pixel& b = plain.at(x, y);
                most = std::max({most, std::abs(a.red - b.red), std::abs(a.green - b.green),
                                 std::abs(a.blue - b.blue)});
            }
        }
        return most;
    };
    {
        const Compositor compositor(desktop->displayName());
        loop.runUntilQuiet();
        const Picture composited = compositor.screen({0, 0, screenWidth, screenHeight});
        EXPECT_LE(worst(composited, part), 2);
        // The badge's disc; its shadow is seen only with a compositor.
        EXPECT_LE(worst(composited, {592, 292, 16, 16}), 2);
        EXPECT_EQ(composited.at(700, 500), before.at(700, 500));
        EXPECT_GT(worst(composited, {580, 280, 40, 40}), 4);
    }
    // It has gone again.
    ASSERT_TRUE(loop.runUntil([&] { return worst(screen(), part) <= 2; }));
    EXPECT_EQ(screen().at(700, 500), before.at(700, 500));

    panel->orderOut();
    EXPECT_TRUE(loop.runUntil([&] { return screen() == before; }));
}

TEST_F(X11Panel, FollowsMovementsToTheirEndAndRests) {
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

TEST_F(X11Panel, ComesBackAfterItsPixelsWereLostAndAfterHiding) {
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
