// The simulated capture service: when samples come, what they show, and what it notices that a
// program does wrong.
#include "platform/sim/SimDesktop.h"
#include "platform/sim/SimSurface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace lentora::sim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr Pixel red{255, 0, 0, 255};
constexpr Pixel green{0, 255, 0, 255};
constexpr Pixel blue{0, 0, 255, 255};

struct Arrival {
    double time;
    CaptureSample sample;
};

class SampleList final : public CaptureOutput {
public:
    explicit SampleList(SimDesktop& desktop) : desktop_(desktop) {}
    void didOutputSample(const CaptureSample& sample) override {
        desktop_.contracts.requireRole(ThreadRole::samples, "didOutputSample");
        arrivals.push_back({desktop_.timeline.now(), sample});
    }

    std::vector<double> takenTimes() {
        std::vector<double> times;
        for (const Arrival& arrival : std::exchange(arrivals, {}))
            times.push_back(arrival.time);
        return times;
    }

    std::vector<Arrival> arrivals;

private:
    SimDesktop& desktop_;
};

class SimCaptureTest : public testing::Test {
protected:
    SimCaptureTest() {
        // Sums of these are exact.
        desktop.state.timing = {
            .startCapture = 0.5, .stopCapture = 0.25, .firstFrame = 0.125, .frameInterval = 0.25};
        filter.display.frame = {0, 0, 1920, 1080};
        configuration.width = 4;
        configuration.height = 2;
        configuration.sourceRect = {100, 100, 40, 20};
    }

    std::shared_ptr<CaptureStream> make() {
        return desktop.captureStreams.make(filter, configuration, output).stream;
    }
    std::shared_ptr<CaptureStream> running() {
        auto stream = make();
        stream->start([](const auto& error) { EXPECT_FALSE(error) << *error; });
        at(0.5);
        return stream;
    }
    void at(double time) { desktop.timeline.advanceTo(time); }

    Window& addWindow(std::uint32_t id, const Rect& bounds, const char* color) {
        Window& window = desktop.state.windows.emplace_back();
        window.id = id;
        window.pid = static_cast<int>(id);
        window.bounds = bounds;
        window.color = color;
        return window;
    }

    // What a stream shows now.
    Picture shown() {
        const auto stream = make();
        stream->start([](const auto& /*error*/) {});
        desktop.timeline.advanceTo(desktop.timeline.now() + 0.625);
        stream->stop([](const auto& /*error*/) {});
        return picture(output->arrivals.at(output->arrivals.size() - 1));
    }
    static Picture picture(const Arrival& arrival) {
        return dynamic_cast<const SimSurface&>(*arrival.sample.surface).picture();
    }
    const std::vector<std::string>& violations() const { return desktop.contracts.violations(); }

    SimDesktop desktop;
    std::shared_ptr<SampleList> output = std::make_shared<SampleList>(desktop);
    CaptureFilter filter;
    CaptureConfiguration configuration;
};

TEST_F(SimCaptureTest, DeliversAtTheStatedTimesUntilItHasStopped) {
    const auto stream = make();
    std::vector<std::string> calls;
    const auto note = [&](const std::string& name) {
        return [&, name](const std::optional<std::string>& error) {
            desktop.contracts.requireRole(ThreadRole::service, name);
            calls.push_back(name + " " + std::to_string(desktop.timeline.now()) +
                            error.value_or(""));
        };
    };
    stream->start(note("started"));
    at(1.2);
    EXPECT_THAT(output->takenTimes(), ElementsAre(0.625, 0.875, 1.125));
    EXPECT_EQ(output->arrivals.size(), 0U);
    stream->stop(note("stopped"));
    at(5);
    EXPECT_THAT(output->takenTimes(), ElementsAre(1.375));
    EXPECT_THAT(calls, ElementsAre("started 0.500000", "stopped 1.450000"));
    desktop.captureStreams.deliverSample(SampleStatus::complete, true);
    EXPECT_THAT(output->arrivals, IsEmpty());
    EXPECT_THAT(violations(), IsEmpty());
}

TEST_F(SimCaptureTest, KeepsTheIntervalThatWasAskedFor) {
    configuration.minimumFrameInterval = 0.5;
    const auto stream = running();
    at(2);
    EXPECT_THAT(output->takenTimes(), ElementsAre(0.625, 1.125, 1.625));
    stream->stop([](const auto& /*error*/) {});
}

TEST_F(SimCaptureTest, DeliversWhatTheTestWants) {
    const auto stream = running();
    desktop.captureStreams.deliversFrames = false;
    at(1);
    EXPECT_THAT(output->arrivals, IsEmpty());
    desktop.captureStreams.deliverSample(SampleStatus::blank, true);
    desktop.captureStreams.deliverSample(SampleStatus::idle, false);
    ASSERT_EQ(output->arrivals.size(), 2U);
    EXPECT_EQ(output->arrivals[0].sample.status, SampleStatus::blank);
    EXPECT_TRUE(output->arrivals[0].sample.surface);
    EXPECT_EQ(output->arrivals[1].sample.status, SampleStatus::idle);
    EXPECT_FALSE(output->arrivals[1].sample.surface);
    EXPECT_THAT(output->takenTimes(), ElementsAre(1, 1));
    desktop.captureStreams.deliversFrames = true;
    at(1.25);
    EXPECT_THAT(output->takenTimes(), ElementsAre(1.125));
    stream->stop([](const auto& /*error*/) {});
}

TEST_F(SimCaptureTest, IsSilentWhileItsDisplayIsNotConnected) {
    const auto stream = running();
    const auto displays = desktop.state.displays;
    desktop.state.displays = {{.frame = {0, 0, 800, 600}, .scale = 1}};
    at(1);
    EXPECT_THAT(output->arrivals, IsEmpty());
    desktop.state.displays = displays;
    at(1.25);
    EXPECT_THAT(output->takenTimes(), ElementsAre(1.125));
    stream->stop([](const auto& /*error*/) {});
}

// What the picture shows. A pixel is 10 points wide and high.

TEST_F(SimCaptureTest, DrawsTheWindowsFromBackToFront) {
    addWindow(1, {110, 100, 10, 10}, "#ff0000");
    addWindow(2, {110, 100, 20, 10}, "#00ff00").alpha = 0.5;
    addWindow(3, {0, 0, 140, 106}, "#0000ff");
    const Picture picture = shown();
    EXPECT_THAT(picture.pixels(),
                ElementsAre(blue, red, (Pixel{0, 128, 128, 255}), blue, // the first row
                            desktopColor, desktopColor, desktopColor, desktopColor));
}

TEST_F(SimCaptureTest, APixelShowsWhatIsAtItsCentre) {
    addWindow(1, {115, 104, 10, 1.5}, "#ff0000");
    const Picture picture = shown();
    EXPECT_EQ(picture.at(1, 0), red);
    EXPECT_EQ(picture.at(2, 0), desktopColor);
    EXPECT_EQ(picture.at(1, 1), desktopColor);
}

TEST_F(SimCaptureTest, LeavesOutWhatTheFilterSays) {
    addWindow(1, {0, 0, 500, 500}, "#ff0000");
    addWindow(2, {0, 0, 500, 500}, "#00ff00");
    addWindow(3, {0, 0, 500, 500}, "#0000ff").shareable = false;
    addWindow(4, {0, 0, 500, 500}, "#0000ff");
    EXPECT_EQ(shown().at(0, 0), red);
    filter.excludedWindows.emplace_back().windowID = 1;
    EXPECT_EQ(shown().at(0, 0), green);
    filter.includingApplications = {{1, ""}, {4, ""}};
    EXPECT_EQ(shown().at(0, 0), blue);
    filter.includingApplications = {{1, ""}, {3, ""}};
    EXPECT_EQ(shown().at(0, 0), desktopColor);
}

TEST_F(SimCaptureTest, MeasuresFromTheDisplaysCorner) {
    desktop.state.displays.push_back({.frame = {1920, 580, 1000, 1000}, .scale = 1});
    filter.display.frame = {1920, -500, 1000, 1000};
    addWindow(1, {2040, -390, 10, 10}, "#ff0000");
    const Picture picture = shown();
    EXPECT_EQ(picture.at(2, 1), red);
    EXPECT_EQ(std::ranges::count(picture.pixels(), red), 1);
}

TEST_F(SimCaptureTest, AFrameStaysAsItWasWhenItWasTaken) {
    addWindow(1, {0, 0, 500, 500}, "#ff0000");
    const auto stream = running();
    at(0.7);
    desktop.state.windows.clear();
    at(0.9);
    EXPECT_EQ(picture(output->arrivals.at(0)).at(3, 1), red);
    // The window is gone, and the stream goes on without it.
    EXPECT_EQ(picture(output->arrivals.at(1)).at(3, 1), desktopColor);
    stream->stop([](const auto& /*error*/) {});
}

// What it notices

TEST_F(SimCaptureTest, NoticesAStreamLeftRunning) {
    auto stream = running();
    desktop.checkNothingLeft();
    EXPECT_THAT(violations(), ElementsAre(HasSubstr("stream was left running")));
    stream.reset();
    EXPECT_THAT(violations(), ElementsAre(testing::_, HasSubstr("let go of while it ran")));
}

TEST_F(SimCaptureTest, NoticesAStreamLetGoOfWhileItStarts) {
    make()->start([](const auto& /*error*/) { ADD_FAILURE(); });
    EXPECT_THAT(violations(), ElementsAre(HasSubstr("let go of while it ran")));
    at(5);
}

TEST_F(SimCaptureTest, NoticesStartsAndStopsOutOfOrder) {
    const auto ignore = [](const std::optional<std::string>& /*error*/) {};
    const auto stream = make();
    stream->stop(ignore);
    stream->start(ignore);
    stream->stop(ignore);
    stream->start(ignore);
    EXPECT_THAT(violations(),
                ElementsAre(HasSubstr("before it had started"), HasSubstr("before it had started"),
                            HasSubstr("started twice")));
    at(1);
    stream->stop(ignore);
    at(2);
    stream->stop(ignore);
    EXPECT_THAT(violations(), testing::Contains(HasSubstr("did not run")));
    desktop.checkNothingLeft();
    EXPECT_EQ(violations().size(), 4U);
}

} // namespace
} // namespace lentora::sim
