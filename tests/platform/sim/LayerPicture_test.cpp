// What the simulated desktop draws, pixel by pixel.
#include "platform/sim/LayerPicture.h"
#include "render/ViewHarness.h"

#include <algorithm>
#include <cmath>

namespace lentora::sim {
namespace {

using test::PictureSurface;

constexpr Pixel nothing{0, 0, 0, 0};
constexpr Pixel red{255, 0, 0, 255};

class LayerPictureTest : public testing::Test {
protected:
    LayerPictureTest() {
        root->setFrame({0, 0, 100, 100});
        root->addChild(layer);
    }

    Picture draw(double scale = 1) {
        const int size = static_cast<int>(100 * scale);
        Picture picture(size, size);
        drawLayers(*root, desktop.timeline.now(), {0, 0, 100, 100}, picture);
        return picture;
    }

    // Every pixel of another colour.
    static Picture pattern(int width, int height) {
        Picture picture(width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                picture.at(x, y) = {static_cast<std::uint8_t>(16 * x),
                                    static_cast<std::uint8_t>(16 * y),
                                    static_cast<std::uint8_t>(x ^ y), 255};
        }
        return picture;
    }

    SimDesktop desktop;
    LayerTransactions transactions{desktop.timeline, desktop.mainQueue};
    std::shared_ptr<Layer> root = std::make_shared<Layer>(transactions);
    std::shared_ptr<Layer> layer = std::make_shared<Layer>(transactions);
};

TEST_F(LayerPictureTest, AFrameAtOneToOneIsItself) {
    const Picture source = pattern(16, 16);
    layer->setContents(std::make_shared<const PictureSurface>(source));
    layer->setFrame({10, 20, 16, 16});
    const Picture drawn = draw();
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x)
            ASSERT_EQ(drawn.at(10 + x, 100 - 36 + y), source.at(x, y)) << x << " " << y;
    }
    EXPECT_EQ(drawn.at(9, 70), nothing);
    EXPECT_EQ(drawn.at(26, 70), nothing);
    EXPECT_EQ(drawn.at(15, 63), nothing);
    EXPECT_EQ(drawn.at(15, 80), nothing);
}

TEST_F(LayerPictureTest, MagnifiesBetweenPixels) {
    Picture source(2, 2);
    source.at(0, 0) = {0, 0, 0, 255};
    source.at(1, 0) = {200, 100, 40, 255};
    source.at(0, 1) = source.at(1, 1) = {80, 0, 0, 255};
    layer->setContents(std::make_shared<const Picture>(source));
    layer->setFrame({0, 0, 8, 8});
    const Picture drawn = draw();
    // The centres of the pixels are 4 apart, at 2 and 6; a pixel's own centre is at a half.
    EXPECT_EQ(drawn.at(0, 92).red, 0);
    EXPECT_EQ(drawn.at(2, 92).red, 25);
    EXPECT_EQ(drawn.at(3, 92).red, 75);
    EXPECT_EQ(drawn.at(4, 92).red, 125);
    EXPECT_EQ(drawn.at(5, 92), (Pixel{175, 88, 35, 255}));
    EXPECT_EQ(drawn.at(7, 92).red, 200);
    EXPECT_EQ(drawn.at(0, 94).red, 10);
    EXPECT_EQ(drawn.at(0, 95).red, 30);
    EXPECT_EQ(drawn.at(0, 99).red, 80);

    LayerStyle style = layer->style();
    style.magnificationFilter = ContentsFilter::nearest;
    layer->setStyle(style);
    EXPECT_EQ(draw().at(3, 92).red, 0);
    EXPECT_EQ(draw().at(4, 92).red, 200);
}

TEST_F(LayerPictureTest, KeepsTheAspectWhereAsked) {
    layer->setContents(std::make_shared<const Picture>(4, 2, red));
    layer->setStyle({.contentsGravity = ContentsGravity::resizeAspect});
    layer->setFrame({0, 0, 20, 20});
    const Picture drawn = draw();
    EXPECT_EQ(drawn.at(10, 84), nothing);
    EXPECT_EQ(drawn.at(10, 85), red);
    EXPECT_EQ(drawn.at(0, 94), red);
    EXPECT_EQ(drawn.at(10, 95), nothing);
}

TEST_F(LayerPictureTest, RoundsBackgroundsAndClips) {
    layer->setFrame({10, 10, 80, 80});
    LayerStyle style{.cornerRadius = 40, .backgroundColor = {1, 0, 0, 1}};
    const auto covered = [](const Picture& drawn) {
        double sum = 0;
        for (const Pixel& pixel : drawn.pixels())
            sum += pixel.alpha / 255.0;
        return sum;
    };
    layer->setStyle(style);
    const Picture disc = draw();
    EXPECT_NEAR(covered(disc), 40 * 40 * M_PI, 5) << "a disc's area";
    EXPECT_EQ(disc.at(50, 50), red);
    EXPECT_EQ(disc.at(12, 12), nothing);
    EXPECT_NEAR(disc.at(21, 21).alpha, 100, 60) << "on the edge";
    for (int x = 0; x < 100; ++x)
        ASSERT_EQ(disc.at(x, 30), disc.at(99 - x, 30)) << "symmetric";

    style.backgroundColor = {};
    layer->setStyle(style);
    layer->setContents(std::make_shared<const Picture>(1, 1, red));
    EXPECT_NEAR(covered(draw()), 80 * 80, 0.01);
    style.masksToBounds = true;
    layer->setStyle(style);
    EXPECT_EQ(draw(), disc) << "contents are cut like the background";
    const auto child = std::make_shared<Layer>(transactions);
    child->setFrame({-40, -40, 60, 60});
    child->setStyle({.backgroundColor = {0, 1, 0, 1}});
    layer->addChild(child);
    EXPECT_EQ(draw().at(12, 88), nothing) << "and so are children";
    EXPECT_EQ(draw().at(25, 75), (Pixel{0, 255, 0, 255}));
}

TEST_F(LayerPictureTest, DrawsTheBorderInsideAndAboveTheChildren) {
    layer->setFrame({10, 10, 50, 50});
    layer->setStyle({.borderWidth = 2, .borderColor = {1, 0, 0, 1}});
    const auto child = std::make_shared<Layer>(transactions);
    child->setFrame({0, 0, 50, 50});
    child->setStyle({.backgroundColor = {0, 0, 1, 1}});
    layer->addChild(child);
    const Pixel blue{0, 0, 255, 255};
    const Picture drawn = draw();
    EXPECT_EQ(drawn.at(9, 60), nothing);
    EXPECT_EQ(drawn.at(10, 60), red);
    EXPECT_EQ(drawn.at(11, 60), red);
    EXPECT_EQ(drawn.at(12, 60), blue);
    EXPECT_EQ(draw(2).at(23, 120), red);
    EXPECT_EQ(draw(2).at(24, 120), blue);
}

TEST_F(LayerPictureTest, OpacityIsThatOfTheWholeLayer) {
    layer->setFrame({10, 10, 50, 50});
    layer->setStyle({.backgroundColor = {1, 0, 0, 1}});
    const auto child = std::make_shared<Layer>(transactions);
    child->setFrame({0, 0, 50, 25});
    child->setStyle({.backgroundColor = {0, 0, 1, 1}});
    layer->addChild(child);
    layer->setOpacity(0.4);
    const Picture drawn = draw();
    EXPECT_EQ(drawn.at(20, 50), (Pixel{102, 0, 0, 102}));
    EXPECT_EQ(drawn.at(20, 80), (Pixel{0, 0, 102, 102})) << "nothing shines through the child";
}

TEST_F(LayerPictureTest, TheShadowFallsOutsideAndFades) {
    layer->setFrame({30, 30, 40, 40});
    layer->setStyle({.backgroundColor = {1, 1, 1, 1},
                     .shadow = {.opacity = 0.5, .radius = 4, .offset = {0, -4}},
                     .masksToBounds = true});
    const Picture drawn = draw();
    EXPECT_EQ(drawn.at(50, 50), (Pixel{255, 255, 255, 255}));
    // The shadow's edge is at 74 from the top: half of it is left there, 16 % a radius further.
    EXPECT_NEAR((drawn.at(50, 73).alpha + drawn.at(50, 74).alpha) / 2.0, 255 * 0.25, 1);
    EXPECT_NEAR((drawn.at(50, 77).alpha + drawn.at(50, 78).alpha) / 2.0, 255 * 0.5 * 0.1587, 1);
    EXPECT_LT(drawn.at(50, 28).alpha, drawn.at(50, 71).alpha);
    EXPECT_EQ(drawn.at(50, 95), nothing);
}

TEST_F(LayerPictureTest, TextHasItsColourAndPlace) {
    const AttributedText text{{{"|", {20, FontWeight::regular}, Color::white(1), {}}}};
    layer->setContents(std::make_shared<const AttributedText>(text));
    layer->setFrame({40, 40, 12, 24});
    const Picture drawn = draw();
    int filled = 0;
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 100; ++x) {
            if (drawn.at(x, y).alpha == 0)
                continue;
            ++filled;
            EXPECT_TRUE(x >= 40 && x < 52 && y >= 36 && y < 60) << x << " " << y;
            EXPECT_EQ(drawn.at(x, y).red, drawn.at(x, y).alpha);
        }
    }
    EXPECT_GT(filled, 20);
}

TEST_F(LayerPictureTest, SurvivesFramesThatMakeNoSense) {
    layer->setContents(std::make_shared<const Picture>(1, 1, red));
    for (const double bad : {std::nan(""), double{INFINITY}, -1e300, 1e300}) {
        layer->setFrame({bad, 0, 10, 10});
        draw();
        layer->setFrame({0, 0, bad, 10});
        draw();
    }
    layer->setFrame({-1e6, -1e6, 2e6, 2e6});
    EXPECT_EQ(draw().at(99, 99), red);
}

class PanelPictureTest : public test::ViewTest {};

TEST_F(PanelPictureTest, ShowsACapturedFrameOverTheWindows) {
    desktop.state.displays = {{.frame = {0, 0, 500, 400}, .scale = 1},
                              {.frame = {500, 100, 200, 100}, .scale = 2}};
    Window below;
    below.bounds = {500, 200, 100, 50};
    below.color = "#102030";
    below.shareable = false;
    Window captured;
    captured.bounds = {2000, 2000, 10, 10};
    captured.color = "#ff0000";
    desktop.state.windows = {below, captured};
    CaptureConfiguration configuration;
    configuration.sourceRect = captured.bounds;

    showPanel();
    panel->setFrame({500, 100, 200, 100});
    view->beginSession({50, 0, 100, 100}, {0, 0}, {100, 100}, 2);
    view->showFrame(capturedSurface(desktop.state, {}, configuration));
    wait(0.2);
    const Picture picture = pictureUnderPanel(desktop.state, *desktop.panels.shownPanel(), now());
    ASSERT_EQ(picture.width(), 400);
    ASSERT_EQ(picture.height(), 200);
    EXPECT_EQ(picture.at(50, 50), (Pixel{0x10, 0x20, 0x30, 255}));
    EXPECT_EQ(picture.at(200, 100), red);
    EXPECT_GT(picture.at(101, 100).green, 200) << "the lens's border";
    EXPECT_EQ(picture.at(50, 150), desktopColor);
}

TEST_F(PanelPictureTest, TheGlyphIsSharpAtEveryScale) {
    for (const double scale : {1.0, 2.0}) {
        view->setCursorBadge(true, scale);
        const auto glyph =
            std::get<std::shared_ptr<const Picture>>(view->cursorGlyph()->contents());
        const auto isFull = [](const Pixel& p) { return p.alpha == 255; };
        EXPECT_GT(std::ranges::count_if(glyph->pixels(), isFull), 20 * scale * scale);
        for (const Pixel& pixel : glyph->pixels())
            ASSERT_NEAR(pixel.red, 0.16 * pixel.alpha, 0.6) << "tinted";
        EXPECT_EQ(glyph->at(0, 0).alpha, 0);
        EXPECT_EQ(glyph->at(glyph->width() - 1, 0).alpha, 0);
        const int inGlass = static_cast<int>(0.41 * glyph->width());
        EXPECT_EQ(glyph->at(inGlass, inGlass).alpha, 0) << "one looks through the glass";
    }
}

} // namespace
} // namespace lentora::sim
