#include "capture/Geometry.h"

#include <gtest/gtest.h>

#include <cmath>

namespace lentora {
namespace {

class FixedDisplays final : public Displays {
public:
    std::vector<Screen> screens() const override { return all; }
    std::optional<Screen> mainScreen() const override { return main; }

    std::vector<Screen> all{{.frame = {0, 0, 1920, 1080}, .scale = 1},
                            {.frame = {1920, 0, 1000, 1080}, .scale = 2}};
    std::optional<Screen> main;
};

class GeometryTest : public testing::Test {
protected:
    FixedDisplays displays;
    Geometry geometry{displays};
};

TEST_F(GeometryTest, MirrorsAboutThePrimaryDisplay) {
    EXPECT_EQ(geometry.flipped(Point{7, 0}), (Point{7, 1080}));
    EXPECT_EQ(geometry.flipped(Rect{0, 0, 500, 300}), (Rect{0, 780, 500, 300}));
    EXPECT_EQ(geometry.flipped(geometry.flipped(Rect{1, 2.5, 3, 4})), (Rect{1, 2.5, 3, 4}));
    // Above the primary display.
    EXPECT_EQ(geometry.flipped(Rect{0, 1080, 500, 300}), (Rect{0, -300, 500, 300}));
    displays.all[0].frame.height = 1000;
    EXPECT_EQ(geometry.flipped(Point{0, 0}).y, 1000);
}

TEST_F(GeometryTest, FindsTheScreenOfAPoint) {
    EXPECT_EQ(geometry.screenForCocoaPoint({1919.9, 0}), displays.all[0]);
    EXPECT_EQ(geometry.screenForCocoaPoint({1920, 0}), displays.all[1]);
    EXPECT_EQ(geometry.screenForCocoaPoint({0, 1080}), displays.all[0]) << "on none: the first";
    displays.main = displays.all[1];
    EXPECT_EQ(geometry.screenForCocoaPoint({0, 1080}), displays.all[1]) << "on none: the main one";
}

TEST_F(GeometryTest, TakesTheScaleOfTheLargerShare) {
    EXPECT_EQ(geometry.scaleForCocoaRect({1800, 0, 200, 10}), 1);
    EXPECT_EQ(geometry.scaleForCocoaRect({1900, 0, 200, 10}), 2);
    EXPECT_EQ(geometry.scaleForCocoaRect({1820, 0, 200, 10}), 1) << "equal shares";
    EXPECT_EQ(geometry.scaleForCocoaRect({0, -100, 50, 50}), 1) << "on no display";
    displays.all.erase(displays.all.begin());
    EXPECT_EQ(geometry.scaleForCocoaRect({0, 0, 1, 1}), 2) << "there is only one";
}

TEST_F(GeometryTest, DoesWithoutDisplays) {
    displays.all.clear();
    EXPECT_EQ(geometry.primaryHeight(), 0);
    EXPECT_EQ(geometry.scaleForCocoaRect({0, 0, 1, 1}), 2);
    EXPECT_EQ(geometry.screenForCocoaPoint({0, 0}).frame, Rect());
    displays.main = {.frame = {0, 0, 100, 50}, .scale = 3};
    EXPECT_EQ(geometry.primaryHeight(), 50);
    EXPECT_EQ(geometry.scaleForCocoaRect({0, 0, 1, 1}), 3);
    EXPECT_EQ(geometry.screenForCocoaPoint({-1, 0}), displays.main);
}

TEST(GeometryText, CutsPartsOfAPointOff) {
    EXPECT_EQ(rs({12.9, -3.5, 800.4, 600}), "(12,-3 800x600)");
    EXPECT_EQ(rs({0.99, -0.99, 10.5, 20.999}), "(0,0 10x20)");
    EXPECT_EQ(ps({-1.5, 2.5}), "(-1,2)");
    EXPECT_EQ(ps({NAN, -INFINITY}), "(?,?)");
    EXPECT_EQ(ps({1e30, -9223372036854775808.0}), "(?,?)");
    EXPECT_EQ(ps({9007199254740993.0, 4e9}), "(9007199254740992,4000000000)");
}

TEST(Rectangles, ShareWhatBothCover) {
    constexpr Rect a{0, 0, 10, 10};
    EXPECT_EQ(intersection(a, {5, -5, 10, 10}), (Rect{5, 0, 5, 5}));
    EXPECT_TRUE(intersects(a, {9.5, 9.5, 10, 10}));
    EXPECT_FALSE(intersects(a, {10, 0, 10, 10})) << "touching edges";
    EXPECT_FALSE(intersects(a, {5, 5, 0, 3})) << "no area";
}

} // namespace
} // namespace lentora
