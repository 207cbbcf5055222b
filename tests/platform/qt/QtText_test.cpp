// Text with real fonts: what is measured is what is drawn.
#include "platform/qt/QtText.h"

#include <QGuiApplication>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lentora::qt {
namespace {

constexpr double unlimited = std::numeric_limits<double>::infinity();

class QtText : public testing::Test {
protected:
    static void SetUpTestSuite() {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int count = 1;
        static char name[] = "test";
        static char* arguments[] = {name, nullptr};
        application = std::make_unique<QGuiApplication>(count, arguments);
    }
    static void TearDownTestSuite() { application.reset(); }

    static AttributedText text(std::string words, const ParagraphStyle& paragraph = {},
                               double size = 12) {
        return {{{std::move(words), {size, FontWeight::regular}, Color::white(0), paragraph}}};
    }

    // The text's picture in a layer of its measured size, each measure rounded up.
    Picture pictureOf(const AttributedText& words, double limit, double scale) const {
        const Size size = measurer.size(words, limit);
        return renderer.render(words, static_cast<int>(std::ceil(size.width) * scale),
                               static_cast<int>(std::ceil(size.height) * scale), scale);
    }

    // Runs of rows with ink in them: lines, if nothing reaches from one into another.
    static int linesIn(const Picture& picture) {
        int lines = 0;
        bool wasInked = false;
        for (int y = 0; y < picture.height(); ++y) {
            bool isInked = false;
            for (int x = 0; x < picture.width(); ++x)
                isInked = isInked || picture.at(x, y).alpha > 40;
            lines += isInked && !wasInked ? 1 : 0;
            wasInked = isInked;
        }
        return lines;
    }

    static inline std::unique_ptr<QGuiApplication> application;
    QtTextMeasurer measurer;
    QtTextRenderer renderer;
};

TEST_F(QtText, BreaksAtWordsAndDrawsTheLinesThatItMeasured) {
    // Letters without parts above or below, so that lines can be told apart.
    const auto words = text("nun aus nass nenn rom zorn was man um sees mars rann wann");
    const Size line = measurer.size(words, unlimited);
    for (const double limit : {60.0, 97.5, 150.0, 220.0}) {
        const Size broken = measurer.size(words, limit);
        EXPECT_LE(broken.width, limit);
        const int lines = static_cast<int>(std::lround(broken.height / line.height));
        EXPECT_GT(lines, 1);
        for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0})
            EXPECT_EQ(linesIn(pictureOf(words, limit, scale)), lines) << limit << " " << scale;
    }
}

TEST_F(QtText, ParagraphsHaveTheirSpaces) {
    EXPECT_EQ(measurer.size({}, unlimited), Size{});
    const double line = measurer.size(text("a"), unlimited).height;
    EXPECT_DOUBLE_EQ(measurer.size(text("a\nb"), unlimited).height, 2 * line);
    EXPECT_DOUBLE_EQ(
        measurer.size(text("a\nb\n", {.lineSpacing = 3, .paragraphSpacing = 7}), unlimited).height,
        3 * line + 3 * 3 + 2 * 7);
    // A paragraph that is made of several runs has the style of the first.
    AttributedText mixed = text("150%", {.lineSpacing = 0, .paragraphSpacing = 7}, 15);
    const double bigLine = measurer.size(mixed, unlimited).height;
    mixed.runs.push_back(text(" Title\n", {.lineSpacing = 50}).runs.front());
    mixed.runs.push_back(text("command").runs.front());
    EXPECT_DOUBLE_EQ(measurer.size(mixed, unlimited).height, bigLine + 7 + line);
}

TEST_F(QtText, IsDrawnInItsColoursAndInsideOfItsPicture) {
    AttributedText words = text("WWW");
    words.runs.front().color = {1, 0, 0, 1};
    words.runs.push_back(text("MMM").runs.front());
    words.runs.back().color = {0, 0, 1, 0.5};
    const Picture picture = pictureOf(words, unlimited, 2);
    int red = 0;
    int blue = 0;
    int strongest = 0;
    for (const Pixel& p : picture.pixels()) {
        red += p.red > 200 && p.blue == 0 ? 1 : 0;
        blue += p.blue > 100 && p.red == 0 ? 1 : 0;
        if (p.red == 0)
            strongest = std::max<int>(strongest, p.alpha);
        EXPECT_GE(p.alpha, std::max({p.red, p.green, p.blue}));
    }
    EXPECT_GT(red, 50);
    EXPECT_GT(blue, 50);
    EXPECT_NEAR(strongest, 128, 2);
    EXPECT_TRUE(renderer.render(words, 0, 10, 1).isEmpty());
}

} // namespace
} // namespace lentora::qt
