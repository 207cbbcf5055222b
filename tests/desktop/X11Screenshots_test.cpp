// Pictures of a part of a real screen.
#include "desktop/LensFixture.h"
#include "platform/x11/X11Screenshots.h"
#include "render/BackgroundSampler.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>

namespace lentora::test {
namespace {

class X11Screenshots : public LensFixture {
protected:
    std::optional<Picture> take(int width, int height) {
        configuration.width = width;
        configuration.height = height;
        auto answered = std::make_shared<std::promise<std::optional<Picture>>>();
        auto answer = answered->get_future();
        x11::X11Screenshots(options, executor)
            .capture(filter, configuration, [answered](std::optional<Picture> picture) {
                answered->set_value(std::move(picture));
            });
        if (answer.wait_for(capturePatience) != std::future_status::ready) {
            ADD_FAILURE() << "no answer";
            return std::nullopt;
        }
        return answer.get();
    }
};

TEST_F(X11Screenshots, ShowsWhatIsBelowTheExcludedWindows) {
    const Picture picture = noise(60, 40);
    const auto below = showing(picture, 100, 100);
    const auto above = window({90, 90, 300, 300}, 0x0000FF);
    exclude(above);
    configuration.sourceRect = {100, 100, 60, 40};
    EXPECT_EQ(take(60, 40), picture);
}

TEST_F(X11Screenshots, AreScaledAndTellLightFromDark) {
    const auto light = window({0, 0, 400, 600}, 0xF0F0F0);
    const auto dark = window({400, 0, 400, 600}, 0x202020);
    configuration.sourceRect = {20, 500, 300, 60};
    auto sample = take(24, 24);
    ASSERT_TRUE(sample);
    EXPECT_EQ(*sample, Picture(24, 24, Pixel{0xF0, 0xF0, 0xF0, 255}));
    // A third of it light, two thirds dark.
    configuration.sourceRect = {300, 500, 300, 60};
    sample = take(24, 24);
    ASSERT_TRUE(sample);
    EXPECT_NEAR(averageLuminance(*sample), (0xF0 + 2.0 * 0x20) / 3 / 255, 0.02);
}

TEST_F(X11Screenshots, AreRefusedWithoutAServerOrASize) {
    EXPECT_EQ(take(0, 24), std::nullopt);
    options.display = ":9999";
    EXPECT_EQ(take(24, 24), std::nullopt);
}

} // namespace
} // namespace lentora::test
