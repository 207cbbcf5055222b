// What a tree of layers looks like in pixels, what of it is drawn again, and when.
#include "platform/sim/SimDesktop.h"
#include "platform/x11/FramePacer.h"
#include "platform/x11/PresentedTree.h"
#include "platform/x11/RaiseBudget.h"
#include "render/LayerTransactions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace lentora::x11 {
namespace {

class TestSurface final : public Surface {
public:
    TestSurface(int width, int height) : width_(width), height_(height) {}
    int width() const override { return width_; }
    int height() const override { return height_; }

private:
    int width_;
    int height_;
};

// A lens of 80 x 60 points at (10, 20) with a border of 2 and corners of 6, on a panel of
// 200 x 100 points.
class PresentedTreeTest : public testing::Test {
protected:
    PresentedTreeTest() {
        root->setFrame({0, 0, 200, 100});
        clip->setFrame({10, 20, 80, 60});
        clip->setStyle({.cornerRadius = 6,
                        .borderWidth = 2,
                        .borderColor = Color::white(1),
                        .masksToBounds = true});
        image->setFrame({0, 0, 80, 60});
        image->setContents(surface(80, 60));
        card->setStyle({.cornerRadius = 4, .backgroundColor = Color::white(0)});
        card->setFrame({150, 10, 20, 10});
        clip->addChild(image);
        root->addChild(clip);
        root->addChild(card);
    }

    static std::shared_ptr<const Surface> surface(int width, int height) {
        return std::make_shared<TestSurface>(width, height);
    }

    PresentedTree now(double scale = 1) const {
        return present(*root, desktop.timeline.now(), scale, static_cast<int>(200 * scale),
                       static_cast<int>(100 * scale));
    }

    // A surface's damage is what the test says.
    PixelRegion changesSince(const PresentedTree& before) const {
        return changes(before, now(before.scale),
                       [this](const Surface&, const Surface&) { return damage; });
    }

    sim::SimDesktop desktop;
    LayerTransactions transactions{desktop.timeline, desktop.mainQueue};
    std::shared_ptr<Layer> root = std::make_shared<Layer>(transactions);
    std::shared_ptr<Layer> clip = std::make_shared<Layer>(transactions);
    std::shared_ptr<Layer> image = std::make_shared<Layer>(transactions);
    std::shared_ptr<Layer> card = std::make_shared<Layer>(transactions);
    PixelRegion damage;
};

// What rectangles cover, counted once for each.
std::map<std::pair<int, int>, int> pixels(const std::vector<PixelRect>& rects) {
    std::map<std::pair<int, int>, int> counts;
    for (const PixelRect& r : rects) {
        for (int y = r.y; y < r.maxY(); ++y) {
            for (int x = r.x; x < r.maxX(); ++x)
                ++counts[{x, y}];
        }
    }
    return counts;
}

TEST_F(PresentedTreeTest, LayersLieOnWholePixelsWithYDown) {
    clip->setFrame({10.3, 20.2, 80.4, 60});
    const PresentedTree tree = now(1.5);
    const PresentedLayerPixels& lens = tree.layers.at(1);
    EXPECT_EQ(lens.shape, (PixelRect{15, 30, 121, 90}));
    EXPECT_EQ(tree.borderWidth(lens), 3);
    EXPECT_EQ(tree.layers.at(2).clip, lens.shape);
    EXPECT_EQ(tree.layers.at(2).parent, 1U);
    EXPECT_EQ(lens.end, 3U);
}

TEST_F(PresentedTreeTest, WhatDiffersIsDrawnAgainAndNothingElse) {
    auto before = now();
    EXPECT_TRUE(changesSince(before).isEmpty());

    card->setFrame({160, 10, 20, 10});
    EXPECT_THAT(
        changesSince(before).rects(),
        testing::UnorderedElementsAre(PixelRect{150, 80, 20, 10}, PixelRect{160, 80, 20, 10}));
    before = now();

    // The lens, as far as it lies in its frame.
    image->setFrame({-80, -60, 160, 120});
    EXPECT_THAT(changesSince(before).rects(), testing::ElementsAre(PixelRect{10, 20, 80, 60}));
    before = now();

    // A pixel and its neighbours, magnified.
    damage = PixelRegion({50, 10, 1, 1});
    image->setContents(surface(80, 60));
    EXPECT_THAT(changesSince(before).rects(), testing::ElementsAre(PixelRect{28, 38, 7, 7}));
    before = now();
    image->setContents(surface(40, 30));
    EXPECT_THAT(changesSince(before).rects(), testing::ElementsAre(PixelRect{10, 20, 80, 60}));
    before = now();

    // All that lies in a layer looks different with its opacity.
    root->setOpacity(0.5);
    EXPECT_THAT(
        changesSince(before).rects(),
        testing::UnorderedElementsAre(PixelRect{10, 20, 80, 60}, PixelRect{160, 80, 20, 10}));
    before = now();
    clip->setOpacity(0);
    EXPECT_THAT(changesSince(before).rects(), testing::ElementsAre(PixelRect{10, 20, 80, 60}));
}

TEST_F(PresentedTreeTest, AShadowIsPartOfWhatIsDrawn) {
    card->setStyle({.backgroundColor = Color::white(1),
                    .shadow = {.opacity = 0.3, .radius = 2, .offset = {0, -1}}});
    const PresentedLayerPixels layer = now().layers.back();
    EXPECT_EQ(layer.shape, (PixelRect{150, 80, 20, 10}));
    EXPECT_EQ(layer.extent, (PixelRect{143, 74, 34, 24}));
}

TEST_F(PresentedTreeTest, ThePlainImageLeavesOutAllThatOthersShow) {
    const auto plain = plainImage(now(), true);
    const auto covered = pixels(plain.rects);
    EXPECT_EQ(plain.layer, 2U);
    for (const auto& [at, count] : covered)
        EXPECT_EQ(count, 1);
    // Inside of the border, without the squares of the corners.
    EXPECT_EQ(covered.size(), 76U * 56 - 4 * 4 * 4);
    EXPECT_FALSE(covered.contains({12, 22}));
    EXPECT_TRUE(covered.contains({16, 22}));

    card->setFrame({20, 30, 10, 10});
    const auto withCard = pixels(plainImage(now(), true).rects);
    EXPECT_EQ(withCard.size(), covered.size() - 100);
    EXPECT_FALSE(withCard.contains({20, 60}));

    // Where it is translucent, there must be nothing below.
    clip->setOpacity(0.5);
    EXPECT_EQ(pixels(plainImage(now(), true).rects), withCard);
    EXPECT_TRUE(plainImage(now(), false).rects.empty());
    root->setStyle({.backgroundColor = Color::white(1)});
    EXPECT_TRUE(plainImage(now(), true).rects.empty());
}

TEST_F(PresentedTreeTest, TheSilhouetteIsRoundAndHasNoShadows) {
    card->setStyle({.cornerRadius = 5,
                    .backgroundColor = Color::white(1),
                    .shadow = {.opacity = 0.3, .radius = 2}});
    const auto covered = pixels(silhouette(now()));
    EXPECT_FALSE(covered.contains({10, 20}));
    EXPECT_TRUE(covered.contains({16, 20}));
    EXPECT_TRUE(covered.contains({50, 50}));
    EXPECT_TRUE(covered.contains({160, 85}));
    EXPECT_FALSE(covered.contains({150, 80}));
    EXPECT_FALSE(covered.contains({148, 85}));
}

TEST(RectsWithoutAHole, CoverTheRestOnce) {
    const PixelRect all{0, 0, 10, 8};
    for (const PixelRect& hole :
         {PixelRect{2, 2, 3, 3}, PixelRect{-5, -5, 7, 30}, PixelRect{0, 0, 10, 8},
          PixelRect{20, 20, 1, 1}, PixelRect{9, 7, 5, 5}, PixelRect{3, -1, 2, 20}}) {
        const auto rest = pixels(without(all, hole));
        for (const auto& [at, count] : rest)
            EXPECT_EQ(count, 1);
        EXPECT_EQ(static_cast<std::int64_t>(rest.size()),
                  all.area() - intersection(all, hole).area());
    }
}

TEST(FramePacer, DrawsAtOnceAfterARestAndThenOnceForEachRefresh) {
    FramePacer pacer;
    pacer.setInterval(0.016);
    EXPECT_EQ(pacer.due(5), std::nullopt);
    pacer.request();
    EXPECT_EQ(pacer.due(5), 5);
    pacer.begin(5);
    pacer.sent();
    // The server is busy.
    pacer.request();
    EXPECT_EQ(pacer.due(5.1), std::nullopt);
    pacer.finished();
    EXPECT_EQ(pacer.due(5.001), 5.008);
    pacer.begin(5.010);
    pacer.request();
    // The one before was late. This one is not: they come at the display's pace on average.
    EXPECT_DOUBLE_EQ(pacer.due(5.011).value_or(0), 5.024);
    pacer.cancel();
    EXPECT_EQ(pacer.due(6), std::nullopt);
}

TEST(FramePacer, ASmallDrawingDoesNotHoldUpAChangeButMovementKeepsItsPace) {
    FramePacer pacer;
    pacer.setInterval(0.016);
    pacer.begin(5);
    pacer.drawsLittle(5);
    pacer.requestNextStep();
    EXPECT_DOUBLE_EQ(pacer.due(5.001).value_or(0), 5.008);
    pacer.request();
    EXPECT_DOUBLE_EQ(pacer.due(5.001).value_or(0), 5.004);
    pacer.begin(5.004);
    // Nothing was small about that.
    pacer.request();
    EXPECT_DOUBLE_EQ(pacer.due(5.005).value_or(0), 5.020);

    // However many there were, what moves keeps the display's pace.
    double now = 6;
    for (int i = 0; i < 100; ++i) {
        now += 0.006;
        pacer.begin(now);
        pacer.drawsLittle(now);
    }
    pacer.requestNextStep();
    EXPECT_LE(pacer.due(now).value_or(0), now + 0.016);
}

TEST(RaiseBudget, AllowsABurstAndThenAFewInASecond) {
    RaiseBudget budget(100);
    int burst = 0;
    while (budget.take(100))
        ++burst;
    EXPECT_EQ(burst, RaiseBudget::burst);
    const double wait = budget.waitingTime(100);
    EXPECT_GT(wait, 0);
    EXPECT_FALSE(budget.take(100 + wait / 2));
    EXPECT_TRUE(budget.take(100 + wait));
    EXPECT_FALSE(budget.take(100 + wait));
    // A long rest gives no more than the burst.
    int later = 0;
    while (budget.take(1000))
        ++later;
    EXPECT_EQ(later, RaiseBudget::burst);
}

} // namespace
} // namespace lentora::x11
