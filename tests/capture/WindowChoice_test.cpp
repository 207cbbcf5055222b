// What no scenario can say: snapshots that do not fit together, and what a choice costs.
// The rules themselves are in tests/scenarios/target_*.json.
#include "capture/WindowChoice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lentora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

ShareableWindow shareable(std::uint32_t id, Rect frame = {0, 0, 500, 500}) {
    ShareableWindow window;
    window.windowID = id;
    window.frame = frame;
    return window;
}

class WindowChoiceTest : public testing::Test {
protected:
    WindowChoice choose() {
        return chooseWindow({.windows = windows,
                             .content = content,
                             .pointer = {100, 100},
                             .screen = {1000, 1000},
                             .focusedWindow = focused,
                             .isIndependent = [this](int pid) {
                                 asked.push_back(pid);
                                 return pid == independentPid;
                             }});
    }

    static WInfo window(std::uint32_t id, int pid, Rect bounds = {0, 0, 500, 500}) {
        return {.id = id, .pid = pid, .bounds = bounds};
    }

    std::vector<WInfo> windows;
    ShareableContent content{.windows = {},
                             .displays = {{.displayID = 1, .frame = {0, 0, 1000, 1000}}},
                             .applications = {}};
    std::optional<std::uint32_t> focused;
    int independentPid = -1;
    std::vector<int> asked;
};

TEST(WindowInfos, DropWhatLacksAnEssentialPart) {
    const WindowListEntry whole{1, 2, 3, Rect{4, 5, 6, 7}, 0.5, "Owner"};
    std::vector<WindowListEntry> entries(7, whole);
    entries[1].number.reset();
    entries[2].ownerPid.reset();
    entries[3].layer.reset();
    entries[4].bounds.reset();
    entries[5].alpha.reset();
    entries[6].ownerName.reset();
    const auto windows = windowInfos(entries);
    ASSERT_EQ(windows.size(), 3U);
    EXPECT_EQ(windows[0].alpha, 0.5);
    EXPECT_EQ(windows[0].owner, "Owner");
    EXPECT_EQ(windows[1].alpha, 1);
    EXPECT_EQ(windows[2].owner, "?");
}

TEST_F(WindowChoiceTest, TheLaterOfTwoShareableWindowsWithOneNumberCounts) {
    windows = {window(1, 10)};
    content.windows = {shareable(1, {0, 0, 1, 1}), shareable(1, {2, 2, 2, 2})};
    EXPECT_EQ(std::get<CaptureTarget>(choose().result).cgFrame, (Rect{2, 2, 2, 2}));
}

TEST_F(WindowChoiceTest, TheFirstOfTwoListedWindowsWithOneNumberCounts) {
    // The second is larger, so it is the one chosen; what is in front is told by the number.
    windows = {window(1, 10, {50, 50, 100, 100}), window(2, 20, {0, 0, 90, 90}), window(1, 10)};
    content.windows = {shareable(1), shareable(2)};
    EXPECT_THAT(std::get<CaptureTarget>(choose().result).excludeWindows, IsEmpty());
}

TEST_F(WindowChoiceTest, WithoutADisplayThereIsNoWindowAndNothingToSay) {
    windows = {window(1, 10)};
    content.windows = {shareable(1)};
    content.displays.clear();
    focused = 1;
    const WindowChoice choice = choose();
    EXPECT_EQ(std::get<WindowTargetError>(choice.result), WindowTargetError::noWindow);
    EXPECT_THAT(choice.log, IsEmpty());
}

TEST_F(WindowChoiceTest, AsksForAProcessOnceAndOnlyWhenItMatters) {
    choose();
    EXPECT_THAT(asked, IsEmpty()) << "there is no window";

    windows = {window(1, 10, {0, 0, 120, 120}), window(2, 10), window(3, 20), window(4, 30)};
    content.windows = {shareable(1), shareable(2), shareable(3), shareable(4)};
    choose();
    EXPECT_THAT(asked, ElementsAre(10)) << "the candidate's";

    asked.clear();
    focused = 3;
    choose();
    EXPECT_THAT(asked, ElementsAre(20)) << "the focused one's";

    asked.clear();
    content.windows.clear();
    choose();
    EXPECT_THAT(asked, ElementsAre(20, 10)) << "the focused one cannot be captured";
}

TEST(WindowEligibility, NamesTheFirstReason) {
    const Size screen{1000, 1000};
    const auto of = [&](int layer, double side, double alpha) {
        const WInfo window{.layer = layer, .bounds = {0, 0, side, side}, .alpha = alpha};
        return eligibility(window, screen);
    };
    EXPECT_EQ(of(0, 40, 0.1), Eligibility::eligible);
    EXPECT_EQ(of(-1, 1, 0), Eligibility::belowNormalLayer);
    EXPECT_EQ(of(1000, 1, 0), Eligibility::screenSaverLayer);
    EXPECT_EQ(of(1, 39, 0), Eligibility::tooSmall);
    EXPECT_EQ(of(1, 900, 0), Eligibility::transparent);
    EXPECT_EQ(of(1, 900, 1), Eligibility::largeFloating);
}

} // namespace
} // namespace lentora
