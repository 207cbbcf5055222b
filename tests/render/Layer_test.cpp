// Layers and their movements. The reference values of the Bezier curves were computed with 40
// decimals by Newton's method, away from this code.
#include "platform/sim/SimDesktop.h"
#include "render/Layer.h"
#include "render/LayerVisitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace lentora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(TimingFunctionTest, FollowsItsCurve) {
    const struct {
        double time;
        double easeOut;
        double easeInEaseOut;
    } points[] = {
        {0.0, 0.0, 0.0},
        {0.1, 0.1605721542, 0.0197224535},
        {0.25, 0.3781381308, 0.1291619310},
        {0.5, 0.6846431874, 0.5},
        {0.75, 0.9065353492, 0.8708380689},
        {0.9, 0.9829733903, 0.9802775464},
        {1.0, 1.0, 1.0},
    };
    for (const auto& point : points) {
        EXPECT_NEAR(TimingFunction::easeOut().valueAt(point.time), point.easeOut, 1e-9);
        EXPECT_NEAR(TimingFunction::easeInEaseOut().valueAt(point.time), point.easeInEaseOut, 1e-9);
    }
    EXPECT_NEAR(TimingFunction(0.25, 0.1, 0.25, 1).valueAt(0.5), 0.8024033875, 1e-9);
    EXPECT_EQ(TimingFunction::easeOut().valueAt(-1), 0);
    EXPECT_EQ(TimingFunction::easeOut().valueAt(2), 1);
}

class LayerTest : public testing::Test, public LayerObserver {
protected:
    LayerTest() { layer->setObserver(this); }

    void layersDidChange() override { ++changes; }

    void wait(double seconds) { desktop.timeline.advanceTo(desktop.timeline.now() + seconds); }
    double now() const { return desktop.timeline.now(); }

    sim::SimDesktop desktop;
    LayerTransactions transactions{desktop.timeline, desktop.mainQueue};
    std::shared_ptr<Layer> layer = std::make_shared<Layer>(transactions);
    const Transition easeOut{0.2, TimingFunction::easeOut()};
    int changes = 0;
};

TEST_F(LayerTest, MovesEveryPropertyAlongTheCurve) {
    layer->setFrame({0, 0, 800, 600});
    wait(1);
    transactions.animated(easeOut, [&] {
        layer->setFrame({-200, -150, 1600, 1200});
        layer->setOpacity(0);
    });
    EXPECT_EQ(layer->frame(), (Rect{-200, -150, 1600, 1200}));
    EXPECT_EQ(layer->frameAt(now()), (Rect{0, 0, 800, 600}));
    EXPECT_EQ(layer->opacityAt(now()), 1);
    wait(0.05);
    EXPECT_NEAR(layer->frameAt(now()).x, -200 * 0.378138, 1e-3);
    EXPECT_NEAR(layer->frameAt(now()).y, -150 * 0.378138, 1e-3);
    EXPECT_NEAR(layer->frameAt(now()).width, 800 + 800 * 0.378138, 1e-3);
    EXPECT_NEAR(layer->frameAt(now()).height, 600 + 600 * 0.378138, 1e-3);
    wait(0.05);
    EXPECT_NEAR(layer->opacityAt(now()), 1 - 0.684643, 1e-6);
    wait(0.05);
    EXPECT_NEAR(layer->opacityAt(now()), 1 - 0.906535, 1e-6);
    wait(0.05);
    EXPECT_EQ(layer->frameAt(now()), (Rect{-200, -150, 1600, 1200}));
    EXPECT_EQ(layer->opacityAt(now()), 0);
}

TEST_F(LayerTest, ANewMovementBeginsAtWhatIsSeen) {
    transactions.animated(easeOut, [&] { layer->setOpacity(0); });
    wait(0.1);
    transactions.animated({0.1, TimingFunction::easeInEaseOut()}, [&] { layer->setOpacity(1); });
    EXPECT_NEAR(layer->opacityAt(now()), 0.315357, 1e-6);
    wait(0.05);
    EXPECT_NEAR(layer->opacityAt(now()), (0.315357 + 1) / 2, 1e-6);
    wait(0.05);
    EXPECT_EQ(layer->opacityAt(now()), 1);
}

TEST_F(LayerTest, AJumpEndsAMovement) {
    transactions.animated(easeOut, [&] {
        layer->setOpacity(0);
        transactions.withoutAnimation([&] { layer->setPosition({5, 6}); });
    });
    EXPECT_EQ(layer->positionAt(now()), (Point{5, 6}));
    wait(0.1);
    layer->setOpacity(0);
    EXPECT_EQ(layer->opacityAt(now()), 0);
    EXPECT_LE(layer->changesUntil(), now());
}

TEST_F(LayerTest, CompletionsRunAtTheEndAsWorkOfTheMainThread) {
    std::vector<std::string> ran;
    const auto note = [&](const char* name) {
        return [&ran, name, this] {
            desktop.contracts.requireRole(sim::ThreadRole::main, name);
            ran.emplace_back(name);
        };
    };
    transactions.animated(
        easeOut, [&] { layer->setOpacity(0); }, note("first"));
    wait(0.1);
    transactions.animated(
        easeOut, [&] { layer->setOpacity(1); }, note("second"));
    transactions.animated(
        easeOut, [] {}, note("still"));
    wait(0.0999);
    EXPECT_THAT(ran, IsEmpty());
    wait(0.0001);
    EXPECT_THAT(ran, ElementsAre("first"));
    wait(0.1);
    EXPECT_THAT(ran, ElementsAre("first", "second", "still"));
    EXPECT_THAT(desktop.contracts.violations(), IsEmpty());
}

TEST_F(LayerTest, PositionIsWhereTheAnchorIs) {
    Layer centered(transactions, {0.5, 0.5});
    centered.setFrame({10, 20, 32, 16});
    EXPECT_EQ(centered.position(), (Point{26, 28}));
    centered.setPosition({100.1, 50.7});
    EXPECT_EQ(centered.position(), (Point{100.1, 50.7}));
    EXPECT_NEAR(centered.frame().x, 84.1, 1e-9);
    EXPECT_EQ(centered.frame().width, 32);
}

TEST_F(LayerTest, TellsWhatChangedAndForHowLong) {
    const auto child = std::make_shared<Layer>(transactions);
    layer->addChild(child);
    changes = 0;
    const auto before = child->changeCount();
    child->setOpacity(1);
    child->setFrame({});
    child->setStyle(child->style());
    child->setContents(std::monostate{});
    transactions.animated(easeOut, [&] { child->setOpacity(1); });
    EXPECT_EQ(changes, 0) << "nothing looks different";
    EXPECT_EQ(child->changeCount(), before);
    EXPECT_EQ(layer->changesUntil(), -std::numeric_limits<double>::infinity());

    child->setContents(std::make_shared<const Picture>(1, 1));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(child->changeCount(), before + 1);
    EXPECT_EQ(layer->changeCount(), 1U) << "the child was added, nothing else";
    transactions.animated(easeOut, [&] { child->setOpacity(0.5); });
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(layer->changesUntil(), now() + 0.2);
}

class NamedVisits final : public LayerVisitor {
public:
    void enter(const PresentedLayer& presented) override {
        visits.emplace_back("enter");
        frames.push_back(presented.frame);
    }
    void leave(const PresentedLayer& /*presented*/) override { visits.emplace_back("leave"); }

    std::vector<std::string> visits;
    std::vector<Rect> frames;
};

TEST_F(LayerTest, VisitsWhatIsSeenInThePanelsCoordinates) {
    const auto flipped = std::make_shared<Layer>(transactions);
    const auto inFlipped = std::make_shared<Layer>(transactions);
    const auto hidden = std::make_shared<Layer>(transactions);
    const auto nowhere = std::make_shared<Layer>(transactions);
    layer->setFrame({0, 0, 1000, 500});
    flipped->setFrame({100, 50, 400, 300});
    flipped->setStyle({.geometryFlipped = true});
    inFlipped->setFrame({10, 20, 30, 40});
    hidden->setOpacity(0);
    nowhere->setFrame({std::numeric_limits<double>::quiet_NaN(), 0, 10, 10});
    layer->addChild(flipped);
    flipped->addChild(inFlipped);
    layer->addChild(hidden);
    layer->addChild(nowhere);

    NamedVisits visitor;
    visitLayers(*layer, now(), visitor);
    EXPECT_THAT(visitor.visits, ElementsAre("enter", "enter", "enter", "leave", "leave", "leave"));
    EXPECT_THAT(visitor.frames, ElementsAre(Rect{0, 0, 1000, 500}, Rect{100, 50, 400, 300},
                                            Rect{110, 290, 30, 40}));
}

} // namespace
} // namespace lentora
