// The fixed measures of text, which other parts of the system and other programs count on.
#include "platform/sim/TextLayout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace lentora::sim {
namespace {

constexpr double noLimit = std::numeric_limits<double>::infinity();

AttributedText plain(const std::string& text, double size = 10, ParagraphStyle style = {}) {
    return {{{text, {size, FontWeight::regular}, Color::white(0), style}}};
}

Size sizeOf(const AttributedText& text, double limit = noLimit) {
    return SimTextMeasurer().size(text, limit);
}

TEST(TextLayoutTest, CountsCodePoints) {
    EXPECT_EQ(sizeOf({}), (Size{0, 0}));
    EXPECT_EQ(sizeOf(plain("")), (Size{0, 0}));
    EXPECT_EQ(sizeOf(plain("abc")), (Size{18, 12}));
    EXPECT_EQ(sizeOf(plain("è·→😀")), (Size{24, 12}));
    EXPECT_EQ(sizeOf(plain("a\xffz\xc3")), (Size{24, 12})) << "bytes that are no UTF-8 count one";
}

TEST(TextLayoutTest, ALineIsAsHighAsItsLargestFont) {
    AttributedText text = plain("ab", 10);
    text.runs.push_back({"c", {20, FontWeight::semibold}, Color::white(1), {}});
    EXPECT_EQ(sizeOf(text), (Size{24, 24}));
    const auto characters = layOut(text, noLimit).characters;
    ASSERT_EQ(characters.size(), 3U);
    EXPECT_EQ(characters[2].corner.x, 12);
    EXPECT_EQ(characters[2].em, 20);
    EXPECT_EQ(characters[0].corner.y + 0.75 * 10, characters[2].corner.y + 0.75 * 20)
        << "one baseline";
}

TEST(TextLayoutTest, BreaksAtBlanks) {
    EXPECT_EQ(sizeOf(plain("aaaa bbbb"), 54), (Size{54, 12})) << "just fits";
    EXPECT_EQ(sizeOf(plain("aaaa bbbb"), 53.9), (Size{24, 24}));
    EXPECT_EQ(sizeOf(plain("aaaa   bb"), 30), (Size{24, 24})) << "blanks stay at the end";
    EXPECT_EQ(sizeOf(plain("a bbbbbbbb c"), 30), (Size{48, 36})) << "a long word sticks out";
    EXPECT_EQ(sizeOf(plain("aa\u00a0bb cc"), 20), (Size{30, 24})) << "no blank to break at";
    EXPECT_EQ(sizeOf(plain("abc "), 100), (Size{24, 12}));
}

TEST(TextLayoutTest, PutsSpaceBelowLinesAndBetweenParagraphs) {
    const ParagraphStyle style{.lineSpacing = 3, .paragraphSpacing = 7};
    EXPECT_EQ(sizeOf(plain("a", 10, style)), (Size{6, 15}));
    EXPECT_EQ(sizeOf(plain("a\nb", 10, style)), (Size{6, 37}));
    EXPECT_EQ(sizeOf(plain("aa bb\nb", 10, style), 12), (Size{12, 52}));
    EXPECT_EQ(sizeOf(plain("a\n\nb", 10)), (Size{6, 36})) << "an empty line is a line";
    EXPECT_EQ(sizeOf(plain("a\n", 10)), (Size{6, 24}));
}

TEST(TextLayoutTest, AParagraphHasTheStyleOfItsFirstCharacter) {
    AttributedText text = plain("a", 10, {.lineSpacing = 1, .paragraphSpacing = 7});
    text.runs.push_back({"\n", {20, FontWeight::regular}, {}, {.lineSpacing = 100}});
    text.runs.push_back({"b", {10, FontWeight::regular}, {}, {.lineSpacing = 3}});
    EXPECT_EQ(sizeOf(text), (Size{6, 12 + 1 + 7 + 12 + 3}));
}

} // namespace
} // namespace lentora::sim
