// When snapshots are fetched and how long they are used, on the simulated desktop.
#include "capture/WindowTarget.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/sim/SimDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>

namespace lentora {
namespace {

using sim::ThreadRole;
using testing::ElementsAre;
using testing::IsEmpty;

class MuteWindowList final : public WindowList {
public:
    std::optional<std::vector<WindowListEntry>> onScreenWindows() const override {
        return std::nullopt;
    }
};

class WindowTargetTest : public testing::Test {
protected:
    WindowTargetTest() {
        desktop.unifiedLog.onRecord = [this](const LogRecord& record) {
            logLines.push_back(record.category + ": " + record.message);
        };
        desktop.state.timing.shareableContent = 0;
        show(1);
    }

    ~WindowTargetTest() override {
        desktop.timeline.settle();
        desktop.checkNothingLeft();
        EXPECT_THAT(desktop.contracts.violations(), IsEmpty());
    }

    std::shared_ptr<WindowTarget> make(const WindowList& windowList,
                                       IndependentApps apps = IndependentApps()) {
        return WindowTarget::create({desktop.shareableContent, windowList, desktop.displays,
                                     desktop.pointer, desktop.applications, desktop.focusedWindows,
                                     desktop.permissions, desktop.timeline, desktop.executor, log},
                                    std::move(apps));
    }

    static sim::Window window(std::uint32_t id, Rect bounds = {0, 0, 1920, 1080}) {
        sim::Window window;
        window.id = id;
        window.pid = 10;
        window.bounds = bounds;
        return window;
    }

    void show(std::uint32_t id) { desktop.state.windows = {window(id)}; }

    void at(double time) { desktop.timeline.advanceTo(time); }

    void prewarm() {
        target->prewarm();
        desktop.timeline.settle();
    }

    /// Asks now; the answer is written down as "id 1 in background" when it comes.
    void ask() {
        startDetached(noteResult(target->windowUnderCursor()));
        desktop.timeline.settle();
    }

    Task<void> noteResult(Task<WindowTarget::Result> asking) {
        const WindowTarget::Result result = co_await std::move(asking);
        const auto* found = std::get_if<CaptureTarget>(&result);
        results.push_back(
            (found != nullptr ? "id " + std::to_string(found->scWindow.windowID)
                              : std::string(toString(std::get<WindowTargetError>(result)))) +
            (desktop.contracts.currentRole() == ThreadRole::background ? "" : " elsewhere"));
    }

    int fetches() const { return desktop.shareableContent.fetchCount(); }

    sim::SimDesktop desktop;
    sim::SimTextFiles files;
    std::vector<std::string> logLines;
    std::vector<std::string> results;
    Log log{{files, desktop.logQueue, desktop.unifiedLog, desktop.timeline, desktop.mainQueue},
            "/logs"};
    std::shared_ptr<WindowTarget> target = make(desktop.windowList);
};

TEST_F(WindowTargetTest, PrewarmingIsRepeatedAfterFourTenthsOfASecond) {
    prewarm();
    at(0.399);
    prewarm();
    EXPECT_EQ(fetches(), 1);
    at(0.4);
    prewarm();
    EXPECT_EQ(fetches(), 2);
    at(0.799);
    prewarm();
    EXPECT_EQ(fetches(), 2) << "counted from the second snapshot";
}

TEST_F(WindowTargetTest, ASnapshotServesForHalfASecond) {
    prewarm();
    at(0.499);
    ask();
    EXPECT_EQ(fetches(), 1);
    at(0.5);
    ask();
    EXPECT_EQ(fetches(), 2);
    at(0.899);
    prewarm();
    EXPECT_EQ(fetches(), 2) << "targeting's own fetch counts for prewarming";
    at(0.999);
    ask();
    EXPECT_EQ(fetches(), 2);
    EXPECT_THAT(results, ElementsAre("id 1", "id 1", "id 1"));
}

TEST_F(WindowTargetTest, ASnapshotsAgeCountsFromItsArrival) {
    desktop.state.timing.shareableContent = 0.25;
    prewarm();
    at(0.25 + 0.499);
    ask();
    EXPECT_EQ(fetches(), 1);
}

TEST_F(WindowTargetTest, OnePrefetchIsUnderWayAtATime) {
    desktop.state.timing.shareableContent = 0.25;
    prewarm();
    at(0.2);
    prewarm();
    EXPECT_EQ(fetches(), 1);
    ask();
    EXPECT_EQ(fetches(), 2) << "targeting does not wait for it";
    at(0.25);
    EXPECT_THAT(results, IsEmpty());
    at(0.45);
    EXPECT_THAT(results, ElementsAre("id 1"));
}

TEST_F(WindowTargetTest, AFailedPrefetchLeavesTheOldSnapshotAndMayBeRepeated) {
    prewarm();
    at(0.4);
    desktop.state.timing.shareableContent = -0.01;
    prewarm();
    at(0.42);
    prewarm();
    EXPECT_EQ(fetches(), 3);
    at(0.45);
    ask();
    EXPECT_EQ(fetches(), 3);
    EXPECT_THAT(results, ElementsAre("id 1"));
    EXPECT_THAT(logLines, testing::SizeIs(1)) << "nothing is said of a failed prefetch";
}

TEST_F(WindowTargetTest, PrewarmsOnlyWhereScreensMayBeRead) {
    desktop.state.permissions.screenRecording = false;
    prewarm();
    EXPECT_EQ(fetches(), 0);
}

TEST_F(WindowTargetTest, OfTwoFetchesAtOnceTheLaterAnswerStays) {
    desktop.state.timing.shareableContent = 0.1;
    ask();
    at(0.05);
    show(2);
    desktop.state.timing.shareableContent = 0.01;
    ask();
    at(0.1);
    EXPECT_THAT(results, ElementsAre("id 2", "protected")) << "each uses its own";
    at(0.3);
    ask();
    EXPECT_EQ(fetches(), 2);
    EXPECT_EQ(results.back(), "protected") << "window 2 is not in the snapshot that came last";
}

TEST_F(WindowTargetTest, IsSilentWhenTheWindowListIsUnreadable) {
    const MuteWindowList mute;
    target = make(mute);
    ask();
    EXPECT_THAT(results, ElementsAre("noWindow"));
    EXPECT_THAT(logLines, IsEmpty());
}

TEST_F(WindowTargetTest, KnowsThePlatformsOwnIndependentApps) {
    constexpr std::array<std::string_view, 1> ownApps{"org.example.Terminal"};
    desktop.state.windows = {window(1, {900, 500, 100, 100}), window(2)};
    desktop.state.windows[1].bundle = "org.example.Terminal";
    ask();
    target = make(desktop.windowList, IndependentApps(ownApps));
    ask();
    desktop.state.windows[1].bundle = "com.apple.finder";
    ask();
    EXPECT_THAT(results, ElementsAre("id 2", "id 1", "id 1"));
}

TEST_F(WindowTargetTest, EndsItsWorkAfterItWasLetGo) {
    desktop.state.timing.shareableContent = 0.1;
    prewarm();
    ask();
    Task<void> begunLater = noteResult(target->windowUnderCursor());
    target.reset();
    startDetached(std::move(begunLater));
    at(0.1);
    EXPECT_THAT(results, ElementsAre("id 1", "id 1"));
}

// For the thread sanitizer: the real executor, and snapshots that grow old while others are used.
class PassingTime final : public MediaClock {
public:
    double now() const override { return 0.1 * ++readings_; }

private:
    mutable std::atomic<int> readings_ = 0;
};

class AnsweringElsewhere final : public ShareableContentSource {
public:
    void fetch(Request /*request*/, Answer answer) override {
        service_.post([answer = std::move(answer)] {
            auto content = std::make_shared<ShareableContent>();
            content->windows.emplace_back().windowID = 1;
            content->displays.emplace_back();
            answer(std::move(content));
        });
    }

private:
    posix::ThreadExecutor service_{2};
};

class AllGranted final : public Permissions {
public:
    bool screenRecording() const override { return true; }
    bool accessibility() const override { return true; }
    bool inputMonitoring() const override { return true; }
};

class OneWindow final : public WindowList {
public:
    std::optional<std::vector<WindowListEntry>> onScreenWindows() const override {
        return {{{1, 10, 0, Rect{0, 0, 1920, 1080}, 1, "Owner"}}};
    }
};

TEST(WindowTargetThreads, FindWindowsWhileOthersPrewarm) {
    constexpr int count = 100;
    // What the threads use outlives them.
    std::promise<void> done;
    std::atomic<int> ended = 0;
    std::atomic<int> found = 0;
    sim::SimDesktop desktop;
    sim::SimTextFiles files;
    posix::ThreadSerialQueue logQueue("test.log");
    const PassingTime time;
    const AllGranted permissions;
    const OneWindow windowList;
    Log log{{files, logQueue, desktop.unifiedLog, desktop.timeline, desktop.mainQueue}, "/logs"};
    posix::ThreadExecutor executor(4);
    AnsweringElsewhere shareableContent;
    auto target = WindowTarget::create({shareableContent, windowList, desktop.displays,
                                        desktop.pointer, desktop.applications,
                                        desktop.focusedWindows, permissions, time, executor, log},
                                       IndependentApps());

    const auto find = [&]() -> Task<void> {
        const WindowTarget::Result result = co_await target->windowUnderCursor();
        found += std::holds_alternative<CaptureTarget>(result) ? 1 : 0;
        if (++ended == count)
            done.set_value();
    };
    for (int i = 0; i < count; ++i) {
        target->prewarm();
        startDetached(find());
    }
    done.get_future().wait();
    EXPECT_EQ(found, count);
    // A prefetch may still be under way: it uses the service, and the service the executor.
    executor.end();
}

} // namespace
} // namespace lentora
