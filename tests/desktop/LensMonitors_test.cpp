// Two monitors of a desktop whose points are two pixels, the second of which is the primary one: so
// points begin neither at the root window's corner nor at its pixels.
#include "desktop/LensProgram.h"
#include "desktop/SecondMonitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace lentora::test {
namespace {

using testdesktop::Key;

class LensMonitors : public LensProgram {
protected:
    void SetUp() override {
        LensProgram::SetUp();
        SecondMonitor monitor(painter->connection());
        monitor.plug(second.x, second.y);
        monitor.makePrimary();
        setScale(2);
    }

    const PixelRect first{0, 0, screenWidth, screenHeight};
    const PixelRect second{screenWidth, 40, SecondMonitor::width, SecondMonitor::height};
};

bool isUniform(const Picture& picture) {
    const auto& pixels = picture.pixels();
    return std::ranges::all_of(pixels, [&](const Pixel& pixel) { return pixel == pixels[0]; });
}

TEST_F(LensMonitors, TheLensLiesExactlyOverItsWindowOnEachOfThem) {
    // Sizes and places that are no whole points.
    const Picture picture = noise(401, 301);
    const auto window = showPicture(*painter, picture, 0, 0);
    launch({"--fixed-zoom", "2"});
    for (const auto& [here, there] : {std::pair(first, second), std::pair(second, first)}) {
        const PixelRect part{here.x + 301, here.y + 103, picture.width(), picture.height()};
        window->moveTo(part.x, part.y);
        painter->finish();
        awaitFreshStart();
        const int x = part.x + 123;
        const int y = part.y + 77;
        hands().movePointer(x, y);
        pressGateTwice();
        ASSERT_TRUE(awaitLog("ARMED"));
        hands().pinch({1.0, 1.1});
        ASSERT_TRUE(showsLens(part, picture, x, y, 2)) << "over " << here.x;
        ASSERT_TRUE(showsBadge(x, y));
        hands().movePointer(x + 150, y + 141);
        ASSERT_TRUE(showsLens(part, picture, x + 150, y + 141, 2));
        // The card is in the corner of the monitor with the lens, and of no other.
        EXPECT_TRUE(eventually([&] { return !isUniform(screen(cardCorner(here))); }));
        EXPECT_TRUE(isUniform(screen(cardCorner(there))));
        hands().tap(Key::Escape);
        hands().release(Key::AltL);
        ASSERT_TRUE(eventually([&] { return !isLensShown(); }));
        EXPECT_TRUE(showsExactly(part, picture));
    }
}

TEST_F(LensMonitors, TheFirstRowOfPixelsBelongsToItsMonitor) {
    const Picture picture = noise(401, 301);
    const auto window = showPicture(*painter, picture, 0, 0);
    launch({"--fixed-zoom", "2"});
    for (const PixelRect& here : {first, second}) {
        const PixelRect part{here.x + 301, here.y, picture.width(), picture.height()};
        window->moveTo(part.x, part.y);
        painter->finish();
        awaitFreshStart();
        hands().movePointer(part.x + 123, here.y);
        pressGateTwice();
        ASSERT_TRUE(awaitLog("ARMED"));
        hands().pinch({1.0, 1.1});
        EXPECT_TRUE(showsLens(part, picture, part.x + 123, here.y, 2)) << "at " << here.x;
        hands().tap(Key::Escape);
        hands().release(Key::AltL);
        ASSERT_TRUE(eventually([&] { return !isLensShown(); }));
    }
}

TEST_F(LensMonitors, TheBadgeOfTheArmedStateGoesWithThePointerFromOneToTheOther) {
    // Something to leave a trace on.
    const Picture picture = noise(300, 300);
    const auto onFirst = showPicture(*painter, picture, first.x + 100, first.y + 100);
    const auto onSecond = showPicture(*painter, picture, second.x + 100, second.y + 100);
    const Picture firstBefore = screen(first);
    const Picture secondBefore = screen(second);
    launch();
    hands().movePointer(first.x + 201, first.y + 203);
    pressGateTwice();
    ASSERT_TRUE(showsBadge(first.x + 201, first.y + 203));
    EXPECT_EQ(screen(second), secondBefore);

    hands().movePointer(second.x + 205, second.y + 207);
    ASSERT_TRUE(showsBadge(second.x + 205, second.y + 207));
    EXPECT_TRUE(showsExactly(first, firstBefore));

    hands().movePointer(first.x + 211, first.y + 209);
    ASSERT_TRUE(showsBadge(first.x + 211, first.y + 209));
    EXPECT_TRUE(showsExactly(second, secondBefore));

    hands().release(Key::AltL);
    EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
    EXPECT_TRUE(showsExactly(first, firstBefore));
}

} // namespace
} // namespace lentora::test
