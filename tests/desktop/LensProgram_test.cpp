// The whole program on a real server, as a user has it: keys and pinches go in, and what comes out
// is on the screen.
#include "desktop/AppWindow.h"
#include "desktop/LensProgram.h"
#include "desktop/SecondMonitor.h"
#include "desktop/ThreadUsage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <utility>

namespace lentora::test {
namespace {

using testdesktop::Key;
using testing::HasSubstr;
using testing::Not;

bool isUniform(const Picture& picture) {
    const auto& pixels = picture.pixels();
    return std::ranges::all_of(pixels, [&](const Pixel& pixel) { return pixel == pixels[0]; });
}

using Clock = std::chrono::steady_clock;

class LensProgramTest : public LensProgram {
protected:
    void SetUp() override {
        LensProgram::SetUp();
        window = showPicture(*painter, picture, part.x, part.y);
        other = showPicture(*painter, otherPicture, otherPart.x, otherPart.y);
        hands().movePointer(pointerX, pointerY);
    }

    // None of its threads has run for that long: for longer than a watch over input looks away.
    bool sleeps(std::chrono::milliseconds rest = std::chrono::milliseconds(1500)) const {
        long long wakeUps = wakeUpsOf(program->pid());
        Clock::time_point since = Clock::now();
        const auto hasRested = [&] {
            const long long now = wakeUpsOf(program->pid());
            if (std::exchange(wakeUps, now) != now)
                since = Clock::now();
            return Clock::now() - since > rest;
        };
        return eventually(hasRested, rest + patience);
    }

    // Clear of the hint card, which is in the screen's bottom-left corner.
    const PixelRect part{300, 100, 401, 301};
    const int pointerX = 450;
    const int pointerY = 210;
    Picture picture = noise(part.width, part.height);
    std::unique_ptr<PaintedWindow> window;

    const PixelRect otherPart{100, 440, 301, 201};
    const Picture otherPicture = noise(otherPart.width, otherPart.height);
    std::unique_ptr<PaintedWindow> other;
};

TEST_F(LensProgramTest, APinchOpensALiveLensAndTheReleaseLeavesNothing) {
    launch({"--fixed-zoom", "2"});

    // Warm-up, after which everything that is made once is there.
    std::map<std::string, unsigned> atRest;
    for (const int times : {1, 2}) {
        hands().press(Key::AltL);
        hands().pinch({1.0, 1.1});
        ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, 2));
        hands().release(Key::AltL);
        ASSERT_TRUE(awaitLog("[capture] stopped", times));
        awaitFreshStart();
        // The stream's connection ends a moment later.
        ASSERT_TRUE(eventually([&] {
            auto now = resources();
            return std::exchange(atRest, now) == now;
        }));
    }

    hands().press(Key::AltL);
    hands().pinchBegin();
    hands().pinchUpdate(1.1);
    ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, 2));
    hands().pinchEnd();
    // It follows the pointer, also a little beside the window.
    hands().movePointer(600, 330);
    EXPECT_TRUE(showsLens(part, picture, 600, 330, 2));
    hands().movePointer(part.maxX() + 50, part.y - 60);
    EXPECT_TRUE(showsLens(part, picture, part.maxX() + 50, part.y - 60, 2));
    hands().movePointer(pointerX, pointerY);
    // What changes in the window changes in the lens.
    const PixelRect changed{100, 80, 40, 30};
    window->paint(changed, 0x30C060);
    painter->finish();
    for (int y = changed.y; y < changed.maxY(); ++y) {
        for (int x = changed.x; x < changed.maxX(); ++x)
            picture.at(x, y) = {0x30, 0xC0, 0x60, 255};
    }
    EXPECT_TRUE(showsLens(part, picture, pointerX, pointerY, 2));

    hands().release(Key::AltL);
    EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
    EXPECT_TRUE(showsExactly(part, picture));
    EXPECT_TRUE(eventually([&] { return resources() == atRest; }))
        << testing::PrintToString(resources()) << " and not " << testing::PrintToString(atRest);
    // Input is everybody's again.
    AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    hands().tap(Key::Escape);
    hands().pinch({1.0, 1.2});
    EXPECT_THAT(app.takeEvents(), testing::IsSupersetOf({"key 9 down", "key 9 up", "pinch begin"}));
}

// A window of which nobody paints anything again keeps its picture, but for what the badge covers
// before the window is captured.
TEST_F(LensProgramTest, TheWindowBelowIsAsItWas) {
    launch({"--fixed-zoom", "2"});
    const std::uint32_t nothing = XCB_BACK_PIXMAP_NONE;
    xcb_change_window_attributes(painter->get(), window->id(), XCB_CW_BACK_PIXMAP, &nothing);
    painter->finish();
    const PixelRect belowBadge{part.x, part.y + 180, part.width, part.height - 180};
    const Picture before = screen(belowBadge);
    for (int i = 0; i < 3; ++i) {
        hands().press(Key::AltL);
        hands().pinch({1.0, 1.1});
        ASSERT_TRUE(awaitLog("FIRST FRAME", i + 1));
        hands().release(Key::AltL);
        ASSERT_TRUE(awaitLog("[capture] stopped", i + 1));
        ASSERT_TRUE(showsExactly(belowBadge, before)) << "after lens " << i;
        awaitFreshStart();
    }
}

TEST_F(LensProgramTest, ALockedLensZoomsStaysStillMovesOnAndCloses) {
    launch({"--max-zoom", "4"});
    openLocked();
    // The pinch decides: e to 1.2 times the 0.1 that opened it.
    ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
    // Fingers far apart: up to the largest zoom. Only the first value of a pinch begins it.
    hands().pinch({1.0, 1.5, 2.0, 2.5, 3.0});
    EXPECT_TRUE(showsLens(part, picture, pointerX, pointerY, 4));

    hands().press(Key::SuperL);
    ASSERT_TRUE(awaitLog("detach on"));
    // Only the badge goes with the pointer.
    hands().movePointer(part.x + 300, part.y + 200);
    EXPECT_TRUE(showsBadge(part.x + 300, part.y + 200));
    EXPECT_TRUE(showsStillLens(part, picture, pointerX, pointerY, 4, part.x + 300, part.y + 200));
    hands().release(Key::SuperL);
    EXPECT_TRUE(showsLens(part, picture, part.x + 300, part.y + 200, 4));

    // To another window, with a double press and a pinch over it.
    hands().movePointer(200, 500);
    pressGateTwice();
    hands().pinch({1.0, 1.1});
    hands().release(Key::AltL);
    EXPECT_TRUE(showsLens(otherPart, otherPicture, 200, 500, 4));
    EXPECT_TRUE(showsExactly(part, picture));

    hands().tap(Key::Escape);
    EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
    EXPECT_TRUE(awaitLog("RELEASE (escKey) -> close"));
}

TEST_F(LensProgramTest, PinchedTogetherPastItsOwnSizeALockedLensCloses) {
    launch();
    openLocked();
    ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
    hands().pinch({1.0, 0.9, 0.8, 0.7, 0.6, 0.5});
    EXPECT_TRUE(awaitLog("locked zoom pinched back through 100% -> auto-close"));
    EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
    // The program is ready for the next one.
    hands().press(Key::AltL);
    hands().pinch({1.0, 1.1});
    EXPECT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
}

TEST_F(LensProgramTest, OpensOnTheMonitorUnderThePointer) {
    std::string error;
    const auto connection = x11::Connection::open(desktop->displayName(), error);
    ASSERT_TRUE(connection) << error;
    SecondMonitor(*connection).plug(screenWidth, 40);
    launch({"--fixed-zoom", "3"});
    const PixelRect there{screenWidth + 200, 100, part.width, part.height};
    window->moveTo(there.x, there.y);
    hands().movePointer(there.x + 77, there.y + 55);
    pressGateTwice();
    ASSERT_TRUE(awaitLog("ARMED"));
    hands().pinch({1.0, 1.1});
    EXPECT_TRUE(showsLens(there, picture, there.x + 77, there.y + 55, 3));
    // The card is in the corner of that monitor, and of no other.
    const PixelRect corner{14, 0, 60, 60};
    const Picture first = screen(corner.translated(0, screenHeight - 74));
    EXPECT_TRUE(eventually([&] {
        return !isUniform(screen(corner.translated(screenWidth, 40 + SecondMonitor::height - 74)));
    }));
    EXPECT_TRUE(isUniform(first));
}

TEST_F(LensProgramTest, WithoutAWindowThePanelGoesAtOnceAndNothingOpens) {
    launch();
    const PixelRect all{0, 0, screenWidth, screenHeight};
    const Picture before = screen(all);
    hands().movePointer(100, 100);
    // Armed, so that there is a panel to go.
    pressGateTwice();
    ASSERT_TRUE(showsBadge(100, 100));
    ASSERT_TRUE(isLensShown());
    hands().pinch({1.0, 1.1});
    ASSERT_TRUE(awaitLog("cannot engage: noWindow"));
    EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
    EXPECT_TRUE(showsExactly(all, before));
    hands().release(Key::AltL);
    EXPECT_THAT(log(), Not(HasSubstr("STARTED")));
    // The key is everybody's again, and the next lens opens.
    awaitFreshStart();
    hands().movePointer(pointerX, pointerY);
    hands().press(Key::AltL);
    hands().pinch({1.0, 1.1});
    EXPECT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
}

// A window is protected when the list of what may be captured does not know it. The list is made
// when the gate goes down, and is good for half a second: a window that comes then is not in it.
TEST_F(LensProgramTest, AWindowThatMayNotBeSeenHasANoticeInsteadOfALens) {
    launch();
    constexpr std::chrono::milliseconds notice{2500};
    const PixelRect all{0, 0, screenWidth, screenHeight};
    const Picture before = screen(all);
    Clock::time_point pinched;
    const auto isRefused = [&] {
        window->unmap();
        painter->finish();
        hands().press(Key::AltL);
        EXPECT_TRUE(sleeps(std::chrono::milliseconds(30))) << "the list is not made";
        window->map();
        painter->finish();
        pinched = Clock::now();
        const int lenses = timesLogged("FIRST FRAME");
        hands().pinch({1.0, 1.1});
        EXPECT_TRUE(eventually([&] {
            return timesLogged("cannot engage: protected") > 0 ||
                   timesLogged("FIRST FRAME") > lenses;
        }));
        return timesLogged("cannot engage: protected") > 0;
    };
    // On a busy machine the list may be too old by then.
    constexpr int tries = 10;
    for (int i = 1; !isRefused(); ++i) {
        ASSERT_LT(i, tries);
        hands().release(Key::AltL);
        ASSERT_TRUE(eventually([&] { return !isLensShown(); }));
        awaitFreshStart();
    }
    EXPECT_TRUE(eventually([&] { return !isUniform(screen(cardCorner(all))); }));
    EXPECT_EQ(screen(part).pixels(), partOf(before, part).pixels());
    EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
    EXPECT_GE(Clock::now() - pinched, notice);
    EXPECT_TRUE(showsExactly(all, before));
    hands().release(Key::AltL);
    awaitFreshStart();
    hands().press(Key::AltL);
    hands().pinch({1.0, 1.1});
    EXPECT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
}

// The server answers nobody but us for a while, so the choice of the window comes too late.
TEST_F(LensProgramTest, AWindowThatIsFoundAfterTheReleaseIsNotShown) {
    launch();
    xcb_grab_server(painter->get());
    painter->finish();
    hands().press(Key::AltL);
    hands().pinch({1.0, 1.1});
    hands().release(Key::AltL);
    xcb_ungrab_server(painter->get());
    painter->finish();
    ASSERT_TRUE(awaitLog("windowUnderCursor"));
    ASSERT_TRUE(awaitLog("teardown"));
    EXPECT_THAT(log(), testing::AllOf(HasSubstr("RELEASE (gateUp) -> close"), HasSubstr("chosen"),
                                      Not(HasSubstr("STARTED"))));
    awaitFreshStart();
    hands().press(Key::AltL);
    hands().pinch({1.0, 1.1});
    EXPECT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
}

TEST_F(LensProgramTest, AClosedWindowEndsItsPictureAndNotTheProgram) {
    // Under the window, which hides all but its edges.
    const PixelRect below{part.x - 10, part.y - 10, part.width + 20, part.height + 20};
    Picture wider = noise(below.width, below.height);
    const auto lower = showPicture(*painter, wider, below.x, below.y);
    lower->lower();
    painter->finish();
    launch();
    openLocked();
    ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
    window->destroy();
    painter->finish();
    EXPECT_TRUE(showsLens(part, partOf(wider, {10, 10, part.width, part.height}), pointerX,
                          pointerY, std::exp(0.12)));
    hands().tap(Key::Escape);
    EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
    hands().movePointer(200, 500);
    openLocked();
    EXPECT_TRUE(showsLens(otherPart, otherPicture, 200, 500, std::exp(0.12)));
}

// Neither with no lens, nor with one that stands still.
TEST_F(LensProgramTest, SleepsWhileNothingHappens) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer has a thread of its own that wakes up";
#endif
    launch();
    EXPECT_TRUE(sleeps());
    openLocked();
    ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
    EXPECT_TRUE(sleeps());
    // It is awake at once.
    hands().movePointer(part.x + 20, part.y + 30);
    EXPECT_TRUE(showsLens(part, picture, part.x + 20, part.y + 30, std::exp(0.12)));
    EXPECT_TRUE(sleeps());
    hands().pinch({1.0, 1.1, 1.2});
    EXPECT_TRUE(showsLens(part, picture, part.x + 20, part.y + 30, std::exp(0.36)));
    hands().tap(Key::Escape);
    ASSERT_TRUE(eventually([&] { return !isLensShown(); }));
    EXPECT_TRUE(sleeps(std::chrono::seconds(10)));
}

TEST_F(LensProgramTest, EndsWhenItIsTold) {
    launch();
    openLocked();
    ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
    ::kill(program->pid(), SIGTERM);
    EXPECT_EQ(program->wait(), 0);
    EXPECT_TRUE(showsExactly(part, picture));
    EXPECT_THAT(log(), HasSubstr("[app] ended"));
    // In the middle of an opening, too.
    for (const int afterMs : {0, 3, 6, 9, 12, 15, 20, 30}) {
        launch();
        hands().press(Key::AltL);
        hands().pinch({1.0, 1.1});
        const Clock::time_point pinched = Clock::now();
        eventually([&] { return Clock::now() - pinched >= std::chrono::milliseconds(afterMs); });
        ::kill(program->pid(), SIGINT);
        EXPECT_EQ(program->wait(), 0) << afterMs << log();
        hands().release(Key::AltL);
    }
}

TEST_F(LensProgramTest, EndsWithTheServer) {
    launch();
    openLocked();
    ASSERT_TRUE(showsLens(part, picture, pointerX, pointerY, std::exp(0.12)));
    // While the lens moves, so that something is always on its way to the server.
    hands().pinch({1.0, 1.3, 1.6});
    hands().movePointer(part.x + 20, part.y + 20);
    window.reset();
    other.reset();
    painter.reset();
    ::kill(desktop->serverPid(), SIGKILL);
    EXPECT_EQ(program->wait(), 1);
    EXPECT_THAT(program->output(), testing::EndsWith("lentora: the X server is gone\n"));
    EXPECT_THAT(log(), HasSubstr("FIRST FRAME on screen"));
}

} // namespace
} // namespace lentora::test
