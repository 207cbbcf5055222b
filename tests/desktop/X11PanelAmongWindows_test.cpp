// The lens, the windows around it, and the managers of both.
#include "desktop/AppWindow.h"
#include "desktop/PanelFixture.h"
#include "desktop/WindowClient.h"
#include "platform/x11/RaiseBudget.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/composite.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

namespace lentora::test {
namespace {

class X11PanelAmongWindows : public PanelFixture {};

class X11PanelAmongWindowsAnywhere : public PanelFixtureAnywhere {};

INSTANTIATE_TEST_SUITE_P(Desktops, X11PanelAmongWindowsAnywhere, testing::Bool(),
                         [](const auto& desktop) {
                             return desktop.param ? "Composited" : "Plain";
                         });

TEST_P(X11PanelAmongWindowsAnywhere, StaysThroughAChangeOfTheWindowManager) {
    const AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    const xcb_window_t focused = focus();
    WindowClient editor(desktop->displayName());
    const xcb_window_t document = editor.create({530, 60, 250, 200}, {.mapped = false});
    editor.finish();
    auto manager = std::make_unique<FakeWindowManager>(desktop->displayName());
    const xcb_window_t frame = manager->manage(document, {530, 60, 250, 200});
    const Picture window = noise(part.width, part.height);
    const auto shown = showing(window, part.x, part.y);
    makeLens();
    openLens(part);
    zoom({0, 0}, 2);
    // Without the edge, through which something of what is behind it can be seen.
    const PixelRect inside{part.x + 20, part.y + 20, part.width - 40, part.height - 40};
    const Picture seen = screen(inside);

    manager->release(document, frame);
    manager.reset();
    const auto isManaged = [&] {
        const x11::XcbPtr<xcb_get_window_attributes_reply_t> root(xcb_get_window_attributes_reply(
            program->get(), xcb_get_window_attributes(program->get(), program->root()), nullptr));
        return (root->all_event_masks & XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT) != 0;
    };
    ASSERT_TRUE(loop.runUntil([&] { return !isManaged(); }));
    EXPECT_TRUE(loop.runUntil([&] { return screen(inside) == seen; }));
    FakeWindowManager successor(desktop->displayName());
    ASSERT_TRUE(isManaged());
    successor.manage(document, {530, 60, 250, 200});
    ASSERT_FALSE(isOnTop());
    EXPECT_TRUE(loop.runUntil([&] { return isOnTop(); }));
    EXPECT_TRUE(loop.runUntil([&] { return screen(inside) == seen; }));
    EXPECT_EQ(focus(), focused);
}

TEST_P(X11PanelAmongWindowsAnywhere, StaysOnTopWithoutFightingForEver) {
    makeLens();
    openLens(part);
    const auto rival = window({0, 0, screenWidth, screenHeight - 1}, 0x00FF00);
    EXPECT_TRUE(loop.runUntil([&] { return isOnTop(); }));
    rival.raise();
    EXPECT_TRUE(loop.runUntil([&] { return isOnTop(); }));

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
    EXPECT_TRUE(loop.runUntil([&] { return isOnTop(); }));
}

TEST_F(X11PanelAmongWindows, WithACompositorItIsTranslucentAndWithoutOneItLooksTheSame) {
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
    compositor = Compositor::running(desktop->displayName());
    ASSERT_TRUE(loop.runUntil([&] { return !isCut(); }));
    loop.runUntilQuiet();
    const Picture composited = screen();
    EXPECT_LE(worst(composited, part), 2);
    // The badge's disc; its shadow is seen only with a compositor.
    EXPECT_LE(worst(composited, {592, 292, 16, 16}), 2);
    EXPECT_EQ(composited.at(700, 500), before.at(700, 500));
    EXPECT_GT(worst(composited, {580, 280, 40, 40}), 4);

    compositor.reset();
    ASSERT_TRUE(loop.runUntil([&] { return worst(screen(), part) <= 2; }));
    EXPECT_EQ(screen().at(700, 500), before.at(700, 500));

    panel->orderOut();
    EXPECT_TRUE(loop.runUntil([&] { return screen() == before; }));
}

TEST_F(X11PanelAmongWindows, NeverCoversTheScreenWhileCompositingManagersComeAndGo) {
    const auto below = showing(noise(screenWidth, screenHeight), 0, 0);
    const auto shown = showing(noise(part.width, part.height), part.x, part.y);
    makeLens();
    openLens(part);
    zoom({200, 150}, 2);
    const PixelRect beside{part.maxX() + 20, 0, 200, screenHeight};
    const PixelRect inside{part.x + 50, part.y + 50, 300, 200};
    const Picture besideIt = screen(beside);
    const Picture insideIt = screen(inside);
    const auto isThere = [&] {
        return rootPixels(beside) == besideIt && rootPixels(inside) == insideIt;
    };

    auto first = std::make_unique<Compositor>(desktop->displayName());
    first->takeSelection();
    loop.runUntilQuiet();
    EXPECT_TRUE(isThere()) << "a manager is starting";
    ASSERT_TRUE(first->redirect());
    EXPECT_TRUE(loop.runUntil([&] { return !isCut(); }));
    EXPECT_EQ(first->screen(beside), besideIt);

    // Its successor says so, and then waits for its end.
    Compositor second(desktop->displayName());
    second.takeSelection();
    EXPECT_TRUE(loop.runUntil([&] { return isCut(); }));
    loop.runUntilQuiet();
    EXPECT_TRUE(isCut());
    EXPECT_FALSE(second.redirect());
    first->unredirect();
    EXPECT_EQ(rootPixels(beside), besideIt) << "the first has let go";
    EXPECT_TRUE(loop.runUntil(isThere));
    first.reset();
    loop.runUntilQuiet();
    EXPECT_TRUE(isThere()) << "the first is gone";
    ASSERT_TRUE(second.redirect());
    EXPECT_TRUE(loop.runUntil([&] { return !isCut(); }));
    loop.runUntilQuiet();
    EXPECT_EQ(second.screen(beside), besideIt);
    EXPECT_EQ(second.screen(inside), insideIt);

    // It stands back without saying so, as some do for full-screen windows, and comes again.
    second.unredirect();
    EXPECT_TRUE(loop.runUntil(isThere));
    ASSERT_TRUE(second.redirect());
    EXPECT_TRUE(loop.runUntil([&] { return !isCut(); }));
}

TEST_F(X11PanelAmongWindows, StaysBelowAScreenLockerAndAboveFullScreenWindows) {
    makeLens();
    openLens(part);
    WindowClient editor(desktop->displayName());
    const xcb_window_t document = editor.create({0, 0, 10, 10}, {.mapped = false});
    editor.setNumbers(document, "WM_STATE", "WM_STATE", {1, 0});
    editor.finish();
    FakeWindowManager manager(desktop->displayName());
    const xcb_window_t frame =
        manager.manage(document, {0, 0, screenWidth, screenHeight}, /*withWrapper=*/true);
    EXPECT_TRUE(loop.runUntil([&] { return isOnTop(); }));

    const auto locker = window({0, 0, screenWidth, screenHeight}, 0);
    const auto prompt = window({300, 200, 100, 50}, 0xFFFFFF);
    loop.runUntilQuiet();
    using testing::ElementsAre;
    const auto top = [&] {
        const auto all = stack();
        return std::vector(all.begin(), all.begin() + 4);
    };
    EXPECT_THAT(top(), ElementsAre(prompt.id(), locker.id(), panel->windowNumber(), frame));
    // What comes below the locker stays below the panel.
    manager.putAbove(frame, panel->windowNumber());
    manager.finish();
    EXPECT_NE(stack()[2], panel->windowNumber());
    EXPECT_TRUE(loop.runUntil([&] { return stack()[2] == panel->windowNumber(); }));
    EXPECT_THAT(top(), ElementsAre(prompt.id(), locker.id(), panel->windowNumber(), frame));
    // Who opens a lens wants to see it.
    panel->orderFrontRegardless();
    EXPECT_TRUE(loop.runUntil([&] { return isOnTop(); }));
}

TEST_F(X11PanelAmongWindows, AFadingLensShowsWhatCoversItsWindow) {
    const PixelRect covered{300, 200, 150, 100};
    const auto shown = window(part, 0xFF0000);
    const auto cover = window(covered, 0x00FF00);
    const auto wide = window(part, 0x00FF00);
    wide.unmap();
    exclude(cover);
    exclude(wide);
    makeLens();
    openLens(part);
    const auto fadeTo = [&](double opacity) {
        transactions.withoutAnimation([&] { view->clipLayer()->setOpacity(opacity); });
        loop.runUntilQuiet();
    };
    const auto at = [&](int x, int y) { return screen({x, y, 1, 1}).at(0, 0); };
    const auto mixed = [](const Pixel& seen, const Pixel& a, const Pixel& b) {
        return std::abs(2 * seen.red - a.red - b.red) <= 4 &&
               std::abs(2 * seen.green - a.green - b.green) <= 4 &&
               std::abs(2 * seen.blue - a.blue - b.blue) <= 4;
    };
    const Pixel red{255, 0, 0, 255};
    const Pixel green{0, 255, 0, 255};
    const Pixel blue{0, 0, 255, 255};
    shown.paint({0, 0, part.width, part.height}, 0x0000FF);
    showFrame(awaitColour(201, 151, 0x0000FF));
    fadeTo(0.5);
    // The window as it is now, and what lies in front of it.
    EXPECT_TRUE(mixed(at(150, 150), blue, blue));
    EXPECT_TRUE(mixed(at(350, 250), blue, green));
    EXPECT_TRUE(mixed(at(299, 250), blue, blue));
    EXPECT_TRUE(mixed(at(450, 250), blue, blue));

    // Now all of it is covered, by a window that is just as large.
    fadeTo(1);
    wide.map();
    ASSERT_TRUE(loop.runUntil([&] { return isOnTop(); }));
    shown.paint({0, 0, part.width, part.height}, 0xFF0000);
    showFrame(awaitColour(201, 151, 0xFF0000));
    fadeTo(0.5);
    EXPECT_TRUE(mixed(at(150, 150), red, blue));
}

TEST_F(X11PanelAmongWindows, IsNotTakenInByAProgramThatHasWindowsRedirectedAndDoesNotDrawThem) {
    const auto below = showing(noise(screenWidth, screenHeight), 0, 0);
    makeLens();
    const Picture before = screen();
    panel->orderFrontRegardless();
    xcb_composite_redirect_subwindows(program->get(), program->root(),
                                      XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    program->finish();
    Compositor manager(desktop->displayName());
    manager.takeSelection();
    loop.runUntilQuiet();
    EXPECT_EQ(rootPixels({0, 0, screenWidth, screenHeight}), before);
}

} // namespace
} // namespace lentora::test
