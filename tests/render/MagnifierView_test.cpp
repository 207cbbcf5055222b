// The lens: where the image goes, and which late animation or timer may still touch it.
#include "ViewHarness.h"

#include <cmath>
#include <limits>
#include <variant>

namespace lentora {
namespace {

using test::PictureSurface;
using test::ViewTest;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

class MagnifierViewTest : public ViewTest {
protected:
    MagnifierViewTest() {
        view->onReleaseComplete = [this] { ++releases; };
    }

    void beginSession(Point focus = {200, 150}) {
        view->beginSession({100, 430, 800, 600}, focus, {800, 600}, 2);
    }

    // A lens that is shown at 2x.
    void showLens() {
        beginSession();
        view->showFrame(captured);
        view->apply({200, 150}, 2);
        wait(1);
        EXPECT_EQ(clipOpacity(), 1);
    }

    const std::shared_ptr<const Surface> captured = std::make_shared<PictureSurface>(Picture(1, 1));
    int releases = 0;
};

TEST_F(MagnifierViewTest, ZoomsAboutTheFocus) {
    beginSession();
    view->apply({200, 150}, 2);
    EXPECT_EQ(imageFrame(), (Rect{-200, -150, 1600, 1200}));
    view->apply({200, 150}, 1);
    EXPECT_EQ(imageFrame(), (Rect{0, 0, 800, 600}));
    view->apply({800, 600}, 2.5);
    EXPECT_EQ(imageFrame(), (Rect{-1200, -900, 2000, 1500}));
    EXPECT_EQ(view->clipLayer()->frame(), (Rect{100, 430, 800, 600}));
    view->apply({0, 0}, 2);
    EXPECT_FALSE(std::signbit(imageFrame().x)) << "-0 would be seen in traces";
}

TEST_F(MagnifierViewTest, HoldsTheFocusInTheWindow) {
    beginSession({-10, 700});
    EXPECT_EQ(view->focusInClip(), (Point{0, 600}));
    view->apply({900, -1}, 2);
    EXPECT_EQ(view->focusInClip(), (Point{800, 0}));
    view->apply({nan, 100}, 2);
    EXPECT_EQ(view->focusInClip(), (Point{0, 100}));
    view->apply({INFINITY, nan}, 2);
    EXPECT_EQ(view->focusInClip(), (Point{800, 0}));
}

TEST_F(MagnifierViewTest, BeginsEmptyTransparentAndAtOneToOne) {
    showLens();
    view->imageLayer()->setContents(std::make_shared<const Picture>(1, 1));
    const int token = view->sessionToken();
    view->beginSession({5, 6, 70, 80}, {1, 2}, {70, 80}, 1.5);
    EXPECT_EQ(view->sessionToken(), token + 1);
    EXPECT_TRUE(view->awaitingFirstFrame());
    EXPECT_EQ(clipOpacity(), 0);
    EXPECT_EQ(view->clipLayer()->frame(), (Rect{5, 6, 70, 80}));
    EXPECT_EQ(imageFrame(), (Rect{0, 0, 70, 80}));
    EXPECT_TRUE(std::holds_alternative<std::monostate>(view->imageLayer()->contents()));
    EXPECT_EQ(view->clipLayer()->style().contentsScale, 1.5);
    EXPECT_EQ(view->imageLayer()->style().contentsScale, 1.5);
}

TEST_F(MagnifierViewTest, FadesInWithEaseOut) {
    beginSession();
    view->showFrame(captured);
    EXPECT_EQ(clipOpacity(), 0);
    wait(0.0375);
    EXPECT_NEAR(clipOpacity(), 0.378138, 1e-6);
    wait(0.0375);
    EXPECT_NEAR(clipOpacity(), 0.684643, 1e-6);
    wait(0.0375);
    EXPECT_NEAR(clipOpacity(), 0.906535, 1e-6);
    wait(0.0375);
    EXPECT_EQ(clipOpacity(), 1);
}

TEST_F(MagnifierViewTest, ALensWithoutAFrameFadesInAtTheLimit) {
    beginSession();
    wait(0.3499);
    EXPECT_TRUE(view->awaitingFirstFrame());
    wait(0.0001);
    EXPECT_FALSE(view->awaitingFirstFrame());
    EXPECT_EQ(clipOpacity(), 0);
    wait(0.15);
    EXPECT_EQ(clipOpacity(), 1);
}

TEST_F(MagnifierViewTest, OnlyTheLastLensFadesInByItself) {
    beginSession();
    wait(0.2);
    beginSession();
    wait(0.34);
    EXPECT_EQ(clipOpacity(), 0) << "the first lens's limit";
    EXPECT_TRUE(view->awaitingFirstFrame());
    wait(0.01);
    EXPECT_FALSE(view->awaitingFirstFrame());
    wait(0.15);
    EXPECT_EQ(clipOpacity(), 1);
}

TEST_F(MagnifierViewTest, TheLimitTouchesNeitherAShownNorAClosedLens) {
    beginSession();
    view->clearLens();
    wait(1);
    EXPECT_EQ(clipOpacity(), 0);
    beginSession();
    wait(0.1);
    view->releaseSession();
    EXPECT_FALSE(view->awaitingFirstFrame());
    wait(1);
    EXPECT_EQ(clipOpacity(), 0);
    beginSession();
    view->releaseArmed();
    wait(1);
    EXPECT_TRUE(view->awaitingFirstFrame()) << "nothing was faded in";
    EXPECT_EQ(clipOpacity(), 0);
}

TEST_F(MagnifierViewTest, ClosingShrinksFadesAndTells) {
    showLens();
    view->releaseSession();
    EXPECT_TRUE(view->releasing());
    wait(0.075);
    EXPECT_NEAR(clipOpacity(), 1 - 0.684643, 1e-6);
    EXPECT_NEAR(imageFrame().x, -200 * (1 - 0.684643), 1e-3);
    EXPECT_NEAR(imageFrame().height, 600 + 600 * (1 - 0.684643), 1e-3);
    EXPECT_EQ(releases, 0);
    wait(0.075);
    EXPECT_EQ(clipOpacity(), 0);
    EXPECT_EQ(imageFrame(), (Rect{0, 0, 800, 600}));
    EXPECT_EQ(releases, 1);
    EXPECT_TRUE(view->releasing()) << "until the next lens";
}

TEST_F(MagnifierViewTest, NothingDisturbsAClosingLens) {
    showLens();
    view->releaseSession();
    wait(0.075);
    const Rect frame = imageFrame();
    view->apply({800, 600}, 3);
    view->showFrame(std::make_shared<PictureSurface>(Picture(2, 2)));
    EXPECT_EQ(view->imageLayer()->contents(), LayerContents(captured));
    EXPECT_EQ(imageFrame(), frame);
    EXPECT_EQ(view->focusInClip(), (Point{200, 150}));
    wait(0.075);
    EXPECT_EQ(clipOpacity(), 0);
}

TEST_F(MagnifierViewTest, ANewLensIsNotTornDownByTheOldOnesEnd) {
    showLens();
    view->releaseSession();
    wait(0.05);
    beginSession();
    view->apply({200, 150}, 2);
    wait(0.1);
    EXPECT_EQ(releases, 0);
    EXPECT_EQ(imageFrame(), (Rect{-200, -150, 1600, 1200}));
    view->releaseArmed();
    wait(0.05);
    view->clearLens(); // As the armed state begins.
    wait(0.1);
    EXPECT_EQ(releases, 0);
}

TEST_F(MagnifierViewTest, ClosingTheArmedStateFadesTheHintAndTells) {
    showPanel();
    view->showHint("", 150, "");
    wait(1);
    EXPECT_EQ(labelOpacity(), 1);
    view->releaseArmed();
    EXPECT_TRUE(view->releasing());
    wait(0.0375);
    EXPECT_NEAR(labelOpacity(), 1 - 0.129162, 1e-6);
    EXPECT_NEAR(cardOpacity(), 0.78 * (1 - 0.129162), 1e-6);
    EXPECT_EQ(releases, 0);
    wait(0.1125);
    EXPECT_EQ(labelOpacity(), 0);
    EXPECT_EQ(cardOpacity(), 0);
    EXPECT_EQ(releases, 1);
}

TEST_F(MagnifierViewTest, WorkThatOutlivesTheViewDoesNothing) {
    showPanel();
    beginSession();
    view->showHint("", 150, "");
    view->releaseSession();
    view.reset();
    wait(1);
    EXPECT_EQ(releases, 0);
    EXPECT_NE(desktop.panels.shownPanel()->content(), nullptr) << "the panel keeps its layers";
}

TEST_F(MagnifierViewTest, DrawsOnlyWhenSomethingChanges) {
    showPanel();
    showLens();
    sim::SimPanel& shown = *desktop.panels.shownPanel();
    EXPECT_TRUE(shown.takeDrawing(now()));
    EXPECT_FALSE(shown.takeDrawing(now()));
    view->apply({200, 150}, 2);
    wait(1);
    EXPECT_FALSE(shown.takeDrawing(now())) << "the same place";
    view->apply({201, 150}, 2);
    EXPECT_TRUE(shown.takeDrawing(now()));
    view->releaseSession();
    int drawings = 0;
    for (int refresh = 0; refresh < 50; ++refresh) {
        wait(0.02);
        drawings += shown.takeDrawing(now()) ? 1 : 0;
    }
    EXPECT_EQ(drawings, 8) << "0.15 s at 50 Hz, and the end";
}

TEST_F(MagnifierViewTest, TheBadgeFadesAndItsGlyphFitsTheDisplay) {
    const auto glyphWidth = [&] {
        return std::get<std::shared_ptr<const Picture>>(view->cursorGlyph()->contents())->width();
    };
    EXPECT_EQ(view->cursorBadge()->opacityAt(now()), 0);
    view->cursorBadge()->setPosition({332, 284});
    EXPECT_EQ(view->cursorBadge()->frame(), (Rect{316, 268, 32, 32}));
    view->setCursorBadge(true, 1);
    EXPECT_EQ(glyphWidth(), 18);
    wait(0.075);
    EXPECT_NEAR(view->cursorBadge()->opacityAt(now()), 0.684643, 1e-6);
    wait(0.075);
    EXPECT_EQ(view->cursorBadge()->opacityAt(now()), 1);
    view->setCursorBadge(false, 1.25);
    EXPECT_EQ(glyphWidth(), 23);
    EXPECT_EQ(view->cursorBadge()->style().contentsScale, 1.25);
    EXPECT_EQ(view->cursorGlyph()->style().contentsScale, 1.25);
    wait(0.15);
    EXPECT_EQ(view->cursorBadge()->opacityAt(now()), 0);
    view->setCursorBadge(true, nan);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(view->cursorGlyph()->contents()))
        << "a plain disc";
}

} // namespace
} // namespace lentora
