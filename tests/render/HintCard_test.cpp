// The hint card: what it says, where it is, which colours it takes, and when it looks behind
// itself.
#include "ViewHarness.h"

#include <string>
#include <vector>

namespace lentora {
namespace {

using test::DeafService;
using test::ViewTest;
using testing::ElementsAre;

constexpr Font big{15, FontWeight::semibold};
constexpr Font small{12, FontWeight::regular};
constexpr Font command{12, FontWeight::medium};
constexpr Color black = Color::white(0);
constexpr Color white = Color::white(1);

constexpr Color darkCard = Color::white(0.11);
constexpr Color lightCard{0.97, 0.95, 0.91, 1};

class HintCardTest : public ViewTest {
protected:
    HintCardTest() {
        desktop.state.displays = {{.frame = {0, 0, 1000, 800}, .scale = 1}};
        showPanel();
    }

    const HintCard& hint() const { return view->hint(); }
    Rect card() const { return hint().hintCard()->frame(); }
    Rect label() const { return hint().hintLabel()->frame(); }
    Color cardColor() const { return hint().hintCard()->style().backgroundColor; }
    std::vector<TextRun> runs() const {
        return std::get<std::shared_ptr<const AttributedText>>(hint().hintLabel()->contents())
            ->runs;
    }

    // One window over the whole display.
    void setBackground(const std::string& color) {
        sim::Window window;
        window.id = 1;
        window.bounds = {0, 0, 1000, 800};
        window.color = color;
        desktop.state.windows = {window};
    }

    void showAndSettle(const std::string& background) {
        setBackground(background);
        view->fadeHint(false);
        view->showHint("", 150, "");
        wait(1);
    }
};

TEST_F(HintCardTest, SaysThePercentageAndTheTitle) {
    view->showHint("Safari", 150, "");
    EXPECT_THAT(runs(), ElementsAre(TextRun{"150%", big, black, {0, 0}},
                                    TextRun{"  ·  Safari", small, Color::white(0.3), {0, 0}}));
    EXPECT_EQ(hint().text(), "150%  ·  Safari");
    // 4 x 9 and 11 x 7.2 points wide; a line of 15 points is 18 high.
    EXPECT_EQ(card(), (Rect{14, 14, 116 + 26, 18 + 18}));
    EXPECT_EQ(label(), (Rect{27, 23, 116, 18}));
}

TEST_F(HintCardTest, SaysTheTitleAndTheCommands) {
    view->showHint("Safari", -1, "close: x\ndetach: y");
    EXPECT_THAT(runs(), ElementsAre(TextRun{"Safari", big, black, {0, 7}},
                                    TextRun{"\n", command, black, {0, 7}},
                                    TextRun{"close: x\ndetach: y", command, black, {3, 0}}));
    // 18 + 7, and twice 14.4 + 3.
    EXPECT_EQ(label(), (Rect{27, 23, 65, 60}));
    EXPECT_EQ(card(), (Rect{14, 14, 91, 78}));
}

TEST_F(HintCardTest, LeavesOutWhatIsEmpty) {
    view->showHint("", -1, "");
    EXPECT_EQ(hint().text(), "");
    EXPECT_EQ(card(), (Rect{14, 14, 26, 18}));
    view->showHint("", 0, "");
    EXPECT_EQ(hint().text(), "0%");
    view->showHint("", -1, "esc");
    EXPECT_THAT(runs(), ElementsAre(TextRun{"esc", command, black, {3, 0}}));
    view->showHint("T", 100, "esc");
    EXPECT_EQ(hint().text(), "100%  ·  T\nesc");
    EXPECT_EQ(hint().lastHintTitle(), "T");
    EXPECT_EQ(hint().lastHintPercent(), 100);
    EXPECT_EQ(hint().lastHintCommands(), "esc");
}

TEST_F(HintCardTest, WrapsLongTextsAtWords) {
    std::string words;
    for (int i = 0; i < 20; ++i)
        words += "lentora ";
    view->showHint("", -1, words + "end");
    EXPECT_EQ(label().width, 339) << "six words and the blanks between them";
    EXPECT_EQ(label().height, 70) << "four lines";
}

TEST_F(HintCardTest, ALightBackgroundGetsTheDarkCard) {
    showAndSettle("#ffffff");
    EXPECT_TRUE(hint().hintIsDark());
    EXPECT_EQ(cardColor(), darkCard);
    EXPECT_EQ(hint().hintCard()->style().borderColor, Color::white(1, 0.22));
    EXPECT_EQ(runs().front().color, white);
    view->showHint("T", 100, "");
    EXPECT_EQ(runs().back().color, Color::white(0.82));
}

TEST_F(HintCardTest, ADarkBackgroundGetsTheLightCard) {
    showAndSettle("#000000");
    EXPECT_FALSE(hint().hintIsDark());
    EXPECT_EQ(cardColor(), lightCard);
    EXPECT_EQ(hint().hintCard()->style().borderColor, Color::white(0, 0.18));
    EXPECT_EQ(runs().front().color, black);
}

TEST_F(HintCardTest, LooksAtWhatIsBehindTheCardAndNowhereElse) {
    // The display stands to the right of the primary one, and only what the card covers is dark.
    desktop.state.displays = {{.frame = {0, 0, 500, 400}, .scale = 1},
                              {.frame = {500, 100, 1000, 800}, .scale = 1}};
    setBackground("#ffffff");
    desktop.state.windows.front().bounds = {-2000, -2000, 5000, 5000};
    sim::Window dark;
    dark.id = 2;
    view->showHint("", 150, "");
    dark.bounds = geometry.flipped(Rect{514, 114, card().width, card().height});
    dark.color = "#000000";
    desktop.state.windows.insert(desktop.state.windows.begin(), dark);
    wait(1);
    view->fadeHint(false);
    panel->setFrame({500, 100, 1000, 800});
    view->showHint("", 150, "");
    wait(1);
    EXPECT_EQ(cardColor(), lightCard);
    dark.bounds.x += 1;
    dark.bounds.width = 500;
    dark.color = "#ffffff";
    desktop.state.windows.front().bounds.width = 1;
    desktop.state.windows.insert(desktop.state.windows.begin(), dark);
    view->fadeHint(false);
    view->showHint("", 150, "");
    wait(1);
    EXPECT_EQ(cardColor(), darkCard);
}

TEST_F(HintCardTest, FadesInOnceItKnowsItsBackground) {
    setBackground("#000000");
    view->showHint("", 150, "");
    EXPECT_TRUE(hint().hintSamplingInFlight());
    wait(0.0199);
    EXPECT_EQ(labelOpacity(), 0);
    EXPECT_EQ(hint().hintLabel()->opacity(), 0);
    wait(0.0001);
    EXPECT_FALSE(hint().hintSamplingInFlight());
    wait(0.075);
    EXPECT_NEAR(labelOpacity(), 0.5, 1e-9);
    EXPECT_NEAR(cardOpacity(), 0.39, 1e-9);
    wait(0.075);
    EXPECT_EQ(labelOpacity(), 1);
    EXPECT_EQ(cardOpacity(), 0.78);
}

TEST_F(HintCardTest, SamplesOncePerFadeIn) {
    setBackground("#ffffff");
    for (int percent = 100; percent < 200; ++percent) {
        view->showHint("", percent, "");
        wait(0.005);
    }
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 1);
    setBackground("#000000");
    view->showHint("", 200, "");
    wait(1);
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 1);
    EXPECT_TRUE(hint().hintIsDark()) << "keeps the scheme it faded in with";
    view->fadeHint(false);
    wait(0.05);
    view->showHint("", 200, "");
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 2) << "a hide came first";
    wait(1);
    EXPECT_FALSE(hint().hintIsDark());
    EXPECT_EQ(labelOpacity(), 1);
}

TEST_F(HintCardTest, ASecondShowDuringASampleFadesInWithTheOldScheme) {
    showAndSettle("#ffffff");
    setBackground("#000000");
    view->fadeHint(false);
    wait(1);
    view->showHint("", 150, "");
    wait(0.01);
    view->showHint("", 151, "");
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 2);
    EXPECT_TRUE(hint().hintSamplingInFlight());
    EXPECT_EQ(hint().text(), "151%");
    EXPECT_EQ(cardColor(), darkCard);
    wait(0.009);
    EXPECT_GT(labelOpacity(), 0);
    wait(1);
    EXPECT_EQ(cardColor(), lightCard);
    EXPECT_EQ(labelOpacity(), 1);
}

TEST_F(HintCardTest, WithoutAWindowItJustFadesIn) {
    makeView(desktop.shareableContent, desktop.screenshots);
    view->showHint("", 150, "");
    EXPECT_FALSE(hint().hintSamplingInFlight());
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 0);
    wait(0.15);
    EXPECT_EQ(cardOpacity(), 0.78);
    EXPECT_EQ(cardColor(), Color{}) << "no theme yet";
}

TEST_F(HintCardTest, EveryFailureCountsAsLight) {
    const auto expectDark = [&](const char* what) {
        EXPECT_TRUE(hint().hintIsDark()) << what;
        EXPECT_EQ(labelOpacity(), 1) << what;
        showAndSettle("#000000"); // Back to the light card.
        ASSERT_FALSE(hint().hintIsDark());
    };
    showAndSettle("#000000");

    desktop.state.permissions.screenRecording = false;
    showAndSettle("#000000");
    desktop.state.permissions.screenRecording = true;
    expectDark("the snapshot was refused");

    desktop.state.timing.shareableContent = -0.02;
    showAndSettle("#000000");
    desktop.state.timing.shareableContent = 0.02;
    expectDark("the snapshot failed");

    view->fadeHint(false);
    view->showHint("", 150, "");
    wait(0.01);
    desktop.state.permissions.screenRecording = false;
    wait(1);
    desktop.state.permissions.screenRecording = true;
    expectDark("the screenshot was refused");

    const auto displays = std::exchange(desktop.state.displays, {});
    showAndSettle("#000000");
    desktop.state.displays = displays;
    expectDark("no display");
}

TEST_F(HintCardTest, ASampleThatIsNeverAnsweredHarmsNobody) {
    DeafService deaf;
    makeView(deaf, deaf);
    view->setFrame({0, 0, 1000, 800});
    panel->setContentView(*view);
    view->showHint("", 150, "");
    wait(1);
    EXPECT_EQ(labelOpacity(), 0);
    view->showHint("", 151, "");
    wait(1);
    EXPECT_EQ(labelOpacity(), 1);
}

} // namespace
} // namespace lentora
