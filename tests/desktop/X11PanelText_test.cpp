// What a change of the hint card's text costs, and that it leaves nothing of the text before.
#include "desktop/LensFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace lentora::test {
namespace {

constexpr const char* title = "Text Editor";
constexpr const char* commands = "Esc: close the lens\nAlt twice: close the lens";

// A column for each character, in a colour of its own.
class ColumnText final : public TextRenderer {
public:
    Picture render(const AttributedText& text, int width, int height,
                   double /*scale*/) const override {
        std::string all;
        for (const TextRun& run : text.runs)
            all += run.text;
        Picture picture(width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto character = static_cast<std::size_t>(x / 8);
                const int code = character < all.size() ? all[character] : 0;
                picture.at(x, y) = {static_cast<std::uint8_t>(code * 5), 0, 128, 255};
            }
        }
        return picture;
    }
};

using X11PanelText = LensFixture;

TEST_F(X11PanelText, ANewPercentageIsFewBytesAndLooksLikeATextUploadedAsAWhole) {
    const ColumnText columns;
    textRenderer = &columns;
    const auto shown = showing(noise(400, 300), 120, 70);
    makeLens();
    openLens({120, 70, 400, 300});
    view->showHint(title, 150, commands);
    ASSERT_TRUE(loop.runUntil([&] { return view->hint().hintLabel()->opacity() == 1; }));
    loop.runUntilQuiet();
    const Picture before = screen();

    const auto sent = panels->bytesSent();
    view->showHint(title, 163, commands);
    loop.runUntilQuiet();
    EXPECT_LE(panels->bytesSent() - sent, 4500U);
    const Picture changed = screen();
    EXPECT_NE(changed, before);

    // A text of another size between has it uploaded as a whole.
    view->showHint("", 163, "");
    loop.runUntilQuiet();
    const Picture alone = screen();
    EXPECT_NE(alone, changed);
    // What was kept of the card is not used for the smaller one: that is as if drawn anew.
    panel->orderOut();
    panel->orderFrontRegardless();
    loop.runUntilQuiet();
    EXPECT_EQ(screen(), alone);
    view->showHint(title, 163, commands);
    loop.runUntilQuiet();
    EXPECT_EQ(screen(), changed);
}

} // namespace
} // namespace lentora::test
