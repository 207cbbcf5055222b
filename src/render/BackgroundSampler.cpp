#include "render/BackgroundSampler.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace lentora {

namespace {

// Pixels; enough for an average.
constexpr int sampleSize = 24;
// Above this, not at it, a background is light.
constexpr double lightThreshold = 0.5;

using Content = std::shared_ptr<const ShareableContent>;

const ShareableDisplay& displayOf(const Rect& cgRect, const ShareableContent& content) {
    const auto found = std::ranges::find_if(content.displays, [&](const ShareableDisplay& display) {
        return display.frame.contains(cgRect.center());
    });
    return found == content.displays.end() ? content.displays.front() : *found;
}

CaptureFilter filterFor(const ShareableDisplay& display, const ShareableContent& content,
                        std::uint32_t excluding) {
    CaptureFilter filter{.display = display, .includingApplications = {}, .excludedWindows = {}};
    for (const ShareableWindow& window : content.windows) {
        if (window.windowID == excluding)
            filter.excludedWindows.push_back(window);
    }
    return filter;
}

} // namespace

double averageLuminance(const Picture& picture) {
    if (picture.isEmpty())
        return 1;
    std::uint64_t red = 0;
    std::uint64_t green = 0;
    std::uint64_t blue = 0;
    for (const Pixel& pixel : picture.pixels()) {
        red += pixel.red;
        green += pixel.green;
        blue += pixel.blue;
    }
    const std::uint64_t count = picture.pixels().size();
    const auto average = [count](std::uint64_t sum) { return (2 * sum + count) / (2 * count); };
    // The luma weights of BT.601 in thousandths: whole numbers, so that a half is exactly a half.
    return static_cast<double>(299 * average(red) + 587 * average(green) + 114 * average(blue)) /
           255'000;
}

Task<bool> BackgroundSampler::backgroundIsLight(ShareableContentSource& content,
                                                Screenshots& screenshots, MainQueue& mainQueue,
                                                Rect cgRect, std::uint32_t excluding) {
    // Written so that a NaN ends up here as well.
    if (!(cgRect.width >= 1 && cgRect.height >= 1))
        co_return true;

    const std::function<void(ShareableContentSource::Answer)> fetch =
        [&content](ShareableContentSource::Answer answer) {
            content.fetch({.excludingDesktopWindows = false, .onScreenWindowsOnly = true},
                          std::move(answer));
        };
    const Content shareable = co_await answerOf<Content>(mainQueue, fetch);
    if (!shareable || shareable->displays.empty())
        co_return true;

    const ShareableDisplay& display = displayOf(cgRect, *shareable);
    const CaptureFilter filter = filterFor(display, *shareable, excluding);
    CaptureConfiguration configuration;
    configuration.width = sampleSize;
    configuration.height = sampleSize;
    configuration.sourceRect = {cgRect.x - display.frame.x, cgRect.y - display.frame.y,
                                cgRect.width, cgRect.height};
    const std::function<void(Screenshots::Answer)> capture = [&](Screenshots::Answer answer) {
        screenshots.capture(filter, configuration, std::move(answer));
    };
    const auto picture = co_await answerOf<std::optional<Picture>>(mainQueue, capture);
    co_return !picture || averageLuminance(*picture) > lightThreshold;
}

} // namespace lentora
