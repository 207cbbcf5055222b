#include "zoom/ZoomLaw.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace lentora::zoom {
namespace {

constexpr double frame = 1.0 / 60;
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(ZoomLaw, HoldsTheZoomBetweenItsBounds) {
    EXPECT_EQ(bounded(0.5, 2.5), 1);
    EXPECT_EQ(bounded(3, 2.5), 2.5);
    EXPECT_EQ(bounded(notANumber, 2.5), 1);
    EXPECT_EQ(bounded(0.9, 0.75), 0.75) << "the upper bound holds where the two cross";
    EXPECT_EQ(bounded(notANumber, 0.75), 0.75);
    EXPECT_NEAR(engaged(0.5, 2.5), 1.8221, 1e-4);
    EXPECT_EQ(engaged(1, 4), std::exp(1.2));
    EXPECT_EQ(engaged(-0.2, 4), 1);
}

TEST(ZoomLaw, AStepIsAFrameAtFirstAndNeverLongerThanAStall) {
    EXPECT_EQ(timeStep(0, 1234.5), frame);
    EXPECT_NEAR(timeStep(10, 10.01), 0.01, 1e-12);
    EXPECT_EQ(timeStep(10, 10.2), 0.05);
    EXPECT_EQ(timeStep(10, 9.9), 0);
}

TEST(ZoomLaw, TheShownZoomApproachesItsTargetAtALimitedSpeed) {
    EXPECT_NEAR(smoothed(1, 2.5, frame), 1.1, 1e-9);
    EXPECT_NEAR(smoothed(1.1, 2.5, frame), 1.21, 1e-9);
    EXPECT_NEAR(smoothed(2.4, 2.5, frame), 2.41535, 1e-5);
    EXPECT_NEAR(smoothed(4, 1, frame), 3.6, 1e-9) << "on the way back, too";
    EXPECT_NEAR(smoothed(0.5, 4, frame), 0.6, 1e-9) << "below 100 % it is not slower";
    EXPECT_EQ(smoothed(2.4995, 2.5, frame), 2.5);
    EXPECT_EQ(smoothed(2.3, 2.5, 0), 2.3);
    EXPECT_EQ(smoothed(0, 0.001, 0), 0) << "as far away as that is not there";
}

TEST(ZoomLaw, PercentAreRoundedAwayFromZero) {
    EXPECT_EQ(percent(1.234), 123);
    EXPECT_EQ(percent(1.125), 113);
    EXPECT_EQ(percent(1e300), std::numeric_limits<int>::max());
}

TEST(ZoomLaw, TheFocusFollowsThePointerWithinReach) {
    const Rect window{100, 430, 800, 600};
    EXPECT_EQ(followedFocus(window, {50, 500}), (Point{0, 70}));
    EXPECT_EQ(followedFocus(window, {-10, 500}), std::nullopt);
    EXPECT_EQ(followedFocus(window, {950, 1100}), (Point{800, 600}));
    EXPECT_EQ(followedFocus(window, {901, 400}), (Point{800, 0}));
    // Of the band's edges, the lower ones are inside.
    EXPECT_EQ(followedFocus(window, {0, 330}), (Point{0, 0}));
    EXPECT_EQ(followedFocus(window, {1000, 500}), std::nullopt);
    EXPECT_EQ(followedFocus(window, {500, 1130}), std::nullopt);
}

TEST(PinchChange, SeedsFirstAndDropsWhatTrembles) {
    PinchChange pinch;
    EXPECT_EQ(pinch.take(0.3), std::nullopt);
    EXPECT_DOUBLE_EQ(pinch.take(0.5).value_or(0), 0.2);
    EXPECT_EQ(pinch.take(0.5004), std::nullopt);
    EXPECT_EQ(pinch.take(0.5008), std::nullopt) << "it is not saved up";
    EXPECT_NEAR(pinch.take(0.5).value_or(0), -0.0008, 1e-12);
    pinch.reseed();
    EXPECT_EQ(pinch.take(2), std::nullopt);
    EXPECT_EQ(pinch.take(3), 1);
    pinch.take(0);
    EXPECT_EQ(pinch.take(0.0005), std::nullopt);
    EXPECT_NE(pinch.take(0.0011), std::nullopt);
}

} // namespace
} // namespace lentora::zoom
