// The beat of a display, on a real server: from the Present extension and from a timer.
#include "desktop/PaintedWindow.h"
#include "desktop/SecondMonitor.h"
#include "desktop/TestLoop.h"
#include "platform/x11/RefreshRate.h"
#include "platform/x11/X11DisplayLinks.h"
#include "testdesktop/TestDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>

#include <algorithm>
#include <csignal>

namespace lentora::test {
namespace {

// A main queue whose thread does something else for a while after long delays, as the links have to
// look after the server.
class BusyQueue final : public MainQueue {
public:
    explicit BusyQueue(TestLoop& loop) : loop_(loop) {}

    void post(Work work) override { loop_.post(std::move(work)); }
    void postAfter(double seconds, Work work) override {
        constexpr double longDelay = 0.2;
        if (seconds < longDelay)
            return loop_.postAfter(seconds, std::move(work));
        loop_.postAfter(seconds, [this, work = std::move(work)] {
            work();
            if (isBusy) {
                ++times;
                ::poll(nullptr, 0, busyMs);
            }
        });
    }

    bool isBusy = false;
    int times = 0;

private:
    // Longer than a server may take to answer.
    static constexpr int busyMs = 300;
    TestLoop& loop_;
};

class X11DisplayLinks : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        auto start = testdesktop::TestDesktop::start();
        ASSERT_TRUE(start.desktop) << start.error;
        desktop = std::move(start.desktop);
        std::string error;
        links = x11::X11DisplayLinks::open({.display = desktop->displayName(),
                                            .layout =
                                                [this] {
                                                    return x11::screenLayout(
                                                        {{1, pixels(display), true, 60},
                                                         {2, pixels(slowDisplay), false, slowRate}},
                                                        1);
                                                },
                                            .withoutPresent = isTimed()},
                                           {loop.clock(), queue, loop}, error);
        ASSERT_TRUE(links) << error;
    }

    static bool isTimed() { return GetParam(); }

    static x11::PixelRect pixels(const Rect& rect) {
        return {static_cast<int>(rect.x), static_cast<int>(rect.y), static_cast<int>(rect.width),
                static_cast<int>(rect.height)};
    }

    /// A beat that notes its times, and does with each what the test says.
    std::unique_ptr<DisplayLink> start(std::function<void()> onBeat = {}) {
        return links->start(display, [this, onBeat = std::move(onBeat)](const Refresh& refresh) {
            times.push_back(refresh.timestamp);
            isAfterRest = refresh.isAfterRest;
            lastLeftOut = refresh.lastLeftOut;
            if (onBeat)
                onBeat();
        });
    }

    bool awaitBeats(std::size_t count) {
        return loop.runUntil([&] { return times.size() >= count; });
    }
    bool awaitMoreBeats(std::size_t count) { return awaitBeats(times.size() + count); }

    double averageIntervalSince(std::size_t first) const {
        return (times.back() - times[first]) / static_cast<double>(times.size() - 1 - first);
    }
    double shortestIntervalSince(std::size_t first) const {
        double shortest = 1;
        for (std::size_t i = first + 1; i < times.size(); ++i)
            shortest = std::min(shortest, times[i] - times[i - 1]);
        return shortest;
    }

    // As high as each other, so that Cocoa space and the root window differ in nothing.
    const Rect display{0, 0, 1920, 1080};
    const Rect slowDisplay{1920, 0, 1280, 1080};
    static constexpr double slowRate = 20;
    TestLoop loop;
    BusyQueue queue{loop};
    std::unique_ptr<testdesktop::TestDesktop> desktop;
    std::unique_ptr<x11::X11DisplayLinks> links;
    std::vector<double> times;
    bool isAfterRest = false;
    double lastLeftOut = 0;
};

TEST_P(X11DisplayLinks, BeatInStepWithTheDisplayUntilTheyAreLetGoOf) {
    auto link = start();
    EXPECT_THAT(times, testing::IsEmpty()) << "called from within the start";
    ASSERT_TRUE(awaitBeats(61));
    // The test desktop has 60 refreshes a second. Others on the machine may make it miss some.
    EXPECT_GT(averageIntervalSince(0), 0.9 / 60);
    EXPECT_LT(averageIntervalSince(0), 0.1);
    EXPECT_TRUE(std::ranges::is_sorted(times));
    EXPECT_NEAR(times.back(), loop.clock().now(), 0.1);
    // By whom it is driven.
    if (isTimed())
        EXPECT_EQ(links->refreshesTold(), 0U);
    else
        EXPECT_GE(links->refreshesTold(), times.size());
    link.reset();
    const std::size_t count = times.size();
    loop.runFor(0.1);
    EXPECT_EQ(times.size(), count);
}

// The server of the test desktop has the same beat for all its monitors.
TEST_P(X11DisplayLinks, FollowToAnotherDisplayAndBack) {
    auto link = start();
    ASSERT_TRUE(awaitBeats(5));
    link->follow(slowDisplay);
    ASSERT_TRUE(awaitMoreBeats(2));
    std::size_t first = times.size();
    const auto told = links->refreshesTold();
    ASSERT_TRUE(awaitMoreBeats(10));
    constexpr double slow = 0.8 / slowRate;
    if (isTimed()) {
        EXPECT_GT(averageIntervalSince(first), slow);
    } else {
        EXPECT_LT(shortestIntervalSince(first), slow);
        EXPECT_GE(links->refreshesTold(), told + 10);
    }
    link->follow(display);
    first = times.size();
    ASSERT_TRUE(awaitMoreBeats(10));
    EXPECT_LT(shortestIntervalSince(first), slow);
}

TEST_P(X11DisplayLinks, MayEndFromWithinTheirCall) {
    std::unique_ptr<DisplayLink> link;
    link = start([&] { link.reset(); });
    ASSERT_TRUE(awaitBeats(1));
    loop.runFor(0.1);
    EXPECT_EQ(times.size(), 1U);
}

TEST_P(X11DisplayLinks, RestUntilThePointerMovesOrTheyAreWoken) {
    std::unique_ptr<DisplayLink> link;
    link = start([&] { link->restUntilPointerMoves(); });
    const auto awaitRest = [&] {
        std::size_t before = 0;
        do {
            before = times.size();
            loop.runFor(0.1);
        } while (times.size() != before);
    };
    awaitRest();
    std::size_t count = times.size();
    desktop->injector().movePointerBy(1, 0);
    EXPECT_TRUE(awaitBeats(count + 1));
    EXPECT_TRUE(isAfterRest);
    EXPECT_NEAR(times.back() - lastLeftOut, 1.0 / 60, 1e-6)
        << "the refresh before, though nobody heard";
    EXPECT_TRUE(awaitBeats(count + 2));
    EXPECT_FALSE(isAfterRest);
    awaitRest();
    count = times.size();
    link->wake();
    EXPECT_TRUE(awaitBeats(count + 1));
    // Another link that does not rest is not held up.
    auto restless = start();
    awaitBeats(times.size() + 10);
    EXPECT_GE(times.size(), count + 10);
}

TEST_P(X11DisplayLinks, EndQuietlyWithTheServer) {
    auto link = start();
    ASSERT_TRUE(awaitBeats(2));
    ::kill(desktop->serverPid(), SIGKILL);
    loop.runFor(0.1);
    const std::size_t count = times.size();
    link->follow(display);
    link->wake();
    loop.runFor(0.1);
    EXPECT_EQ(times.size(), count);
    link.reset();
}

// The timer is for servers that cannot tell.
class PresentDisplayLinks : public X11DisplayLinks {};

TEST_P(PresentDisplayLinks, StayWithTheServerWhenTheMainThreadIsBusy) {
    auto link = start();
    ASSERT_TRUE(awaitBeats(5));
    queue.isBusy = true;
    const std::size_t beats = times.size();
    const auto told = links->refreshesTold();
    ASSERT_TRUE(loop.runUntil([&] { return queue.times >= 4; }));
    ASSERT_TRUE(awaitMoreBeats(5));
    EXPECT_EQ(links->refreshesTold() - told, times.size() - beats);
}

TEST_P(PresentDisplayLinks, GoOnWithoutAServerThatDoesNotAnswerAndComeBackToIt) {
    auto link = start();
    ASSERT_TRUE(awaitBeats(5));
    const PaintingProgram other(desktop->displayName());
    // The second time until it has been asked again.
    for (const std::size_t beatsWithout : {20U, 180U}) {
        xcb_grab_server(other.get());
        other.finish();
        loop.runUntilQuiet();
        const auto told = links->refreshesTold();
        ASSERT_TRUE(awaitMoreBeats(beatsWithout));
        EXPECT_EQ(links->refreshesTold(), told);
        xcb_ungrab_server(other.get());
        other.finish();
        EXPECT_TRUE(loop.runUntil([&] { return links->refreshesTold() > told + 20; }));
        // There is one beat, and not two.
        const std::size_t beats = times.size();
        const auto before = links->refreshesTold();
        ASSERT_TRUE(awaitMoreBeats(60));
        EXPECT_EQ(links->refreshesTold() - before, times.size() - beats);
        EXPECT_GT(averageIntervalSince(beats), 0.9 / 60);
    }
}

INSTANTIATE_TEST_SUITE_P(Source, PresentDisplayLinks, testing::Values(false),
                         [](const auto&) { return "present"; });

INSTANTIATE_TEST_SUITE_P(Source, X11DisplayLinks, testing::Bool(), [](const auto& test) {
    return std::string(test.param ? "timer" : "present");
});

TEST(RefreshRate, IsThatOfTheModeOfTheMonitorThatShowsMost) {
    auto start = testdesktop::TestDesktop::start();
    ASSERT_TRUE(start.desktop) << start.error;
    std::string error;
    const auto connection = x11::Connection::open(start.desktop->displayName(), error);
    ASSERT_TRUE(connection) << error;
    SecondMonitor(*connection).plug(1920, 0, 75);
    const auto rates = x11::readRefreshRates(*connection);
    EXPECT_NEAR(refreshRateOf({0, 0, 1920, 1080}, rates), 60, 1);
    EXPECT_NEAR(refreshRateOf({1920, 0, 1280, 720}, rates), 75, 0.01);
    EXPECT_NEAR(refreshRateOf({1800, 0, 1280, 720}, rates), 75, 0.01);
    EXPECT_EQ(refreshRateOf({3500, 1500, 100, 100}, rates), 0);
}

} // namespace
} // namespace lentora::test
