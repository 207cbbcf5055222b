// Light or dark: the question that goes to the capture service, and what its answer means.
#include "platform/sim/SimDesktop.h"
#include "render/BackgroundSampler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>

namespace lentora {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

Picture gray(std::uint8_t level) {
    return {4, 4, {level, level, level, 255}};
}

TEST(AverageLuminanceTest, WeighsTheColoursOfTheAverage) {
    EXPECT_EQ(averageLuminance(gray(0)), 0);
    EXPECT_EQ(averageLuminance(gray(255)), 1);
    EXPECT_DOUBLE_EQ(averageLuminance({1, 1, {255, 0, 0, 255}}), 0.299);
    EXPECT_DOUBLE_EQ(averageLuminance({1, 1, {0, 255, 0, 255}}), 0.587);
    EXPECT_DOUBLE_EQ(averageLuminance({1, 1, {0, 0, 255, 255}}), 0.114);
    EXPECT_EQ(averageLuminance({}), 1) << "no picture";

    Picture half = gray(255);
    for (int x = 0; x < 4; ++x)
        half.at(x, 0) = half.at(x, 1) = {0, 0, 0, 255};
    EXPECT_DOUBLE_EQ(averageLuminance(half), 128 / 255.0) << "127.5 is rounded up";
}

// Answers at once with what it was given, and keeps the question.
class Service final : public ShareableContentSource, public Screenshots {
public:
    void fetch(Request request, ShareableContentSource::Answer answer) override {
        lastRequest = request;
        answer(content);
    }
    void capture(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                 Screenshots::Answer answer) override {
        lastFilter = filter;
        lastConfiguration = configuration;
        answer(picture);
    }

    std::shared_ptr<const ShareableContent> content;
    std::optional<Picture> picture;
    std::optional<Request> lastRequest;
    std::optional<CaptureFilter> lastFilter;
    CaptureConfiguration lastConfiguration;
};

class BackgroundSamplerTest : public testing::Test {
protected:
    BackgroundSamplerTest() {
        ShareableContent content;
        content.displays = {{.displayID = 1, .frame = {0, 0, 1000, 800}},
                            {.displayID = 2, .frame = {1000, -200, 500, 400}}};
        content.windows.resize(3);
        content.windows[0].windowID = 7;
        content.windows[1].windowID = 8;
        content.windows[2].windowID = 7;
        service.content = std::make_shared<ShareableContent>(content);
        service.picture = gray(0);
    }

    static Task<void> ask(Task<bool> question, std::optional<bool>& answer) {
        answer = co_await std::move(question);
    }

    bool isLight(Rect rect) {
        std::optional<bool> answer;
        startDetached(
            ask(BackgroundSampler(service, service, desktop.mainQueue).backgroundIsLight(rect, 7),
                answer));
        desktop.timeline.settle();
        return answer.value();
    }

    sim::SimDesktop desktop;
    Service service;
};

TEST_F(BackgroundSamplerTest, AsksForASmallPictureWithoutTheLens) {
    EXPECT_FALSE(isLight({20, 30, 100, 50}));
    EXPECT_FALSE(service.lastRequest->excludingDesktopWindows);
    EXPECT_TRUE(service.lastRequest->onScreenWindowsOnly);
    EXPECT_EQ(service.lastFilter->display.displayID, 1U);
    EXPECT_FALSE(service.lastFilter->includingApplications);
    EXPECT_THAT(
        service.lastFilter->excludedWindows,
        ElementsAre(Field(&ShareableWindow::windowID, 7), Field(&ShareableWindow::windowID, 7)));
    EXPECT_EQ(service.lastConfiguration.width, 24);
    EXPECT_EQ(service.lastConfiguration.height, 24);
    EXPECT_EQ(service.lastConfiguration.sourceRect, (Rect{20, 30, 100, 50}));
    EXPECT_FALSE(service.lastConfiguration.showsCursor);
}

TEST_F(BackgroundSamplerTest, TakesTheDisplayOfTheMiddle) {
    isLight({950, -100, 101, 100});
    EXPECT_EQ(service.lastFilter->display.displayID, 2U);
    EXPECT_EQ(service.lastConfiguration.sourceRect, (Rect{-50, 100, 101, 100}));
    isLight({5000, 5000, 10, 10});
    EXPECT_EQ(service.lastFilter->display.displayID, 1U) << "else the first";
}

TEST_F(BackgroundSamplerTest, ExactlyAHalfIsDark) {
    // 299 x 120 + 587 x 132 + 114 x 124 = 127500, half of 255000.
    service.picture = Picture(2, 2, {120, 132, 124, 255});
    EXPECT_EQ(averageLuminance(*service.picture), 0.5);
    EXPECT_FALSE(isLight({0, 0, 10, 10}));
    service.picture = Picture(2, 2, {120, 132, 125, 255});
    EXPECT_TRUE(isLight({0, 0, 10, 10}));
}

TEST_F(BackgroundSamplerTest, EveryFailureIsLight) {
    EXPECT_TRUE(isLight({0, 0, 0.9, 100}));
    EXPECT_TRUE(isLight({0, 0, 100, 0.9}));
    EXPECT_FALSE(service.lastRequest) << "nothing to ask about";
    EXPECT_FALSE(isLight({0, 0, 1, 1}));

    service.picture = std::nullopt;
    EXPECT_TRUE(isLight({0, 0, 10, 10}));
    service.picture = Picture();
    EXPECT_TRUE(isLight({0, 0, 10, 10}));
    service.picture = gray(0);
    service.content = std::make_shared<ShareableContent>();
    EXPECT_TRUE(isLight({0, 0, 10, 10}));
    service.content = nullptr;
    EXPECT_TRUE(isLight({0, 0, 10, 10}));
}

} // namespace
} // namespace lentora
