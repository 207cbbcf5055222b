// A capture on the simulated desktop, with a record of its streams, frames and log lines.
#pragma once

#include "capture/WindowCapture.h"
#include "platform/sim/SimDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

// A main thread that can be kept busy.
class BusyMainQueue final : public MainQueue {
public:
    explicit BusyMainQueue(MainQueue& queue) : queue_(queue) {}
    void post(Work work) override {
        ++posts;
        if (busy)
            waiting_.push_back(std::move(work));
        else
            queue_.post(std::move(work));
    }
    void postAfter(double seconds, Work work) override {
        queue_.postAfter(seconds, std::move(work));
    }
    void goOn() {
        busy = false;
        for (Work& work : std::exchange(waiting_, {}))
            queue_.post(std::move(work));
    }

    bool busy = false;
    int posts = 0;

private:
    MainQueue& queue_;
    std::vector<Work> waiting_;
};

class TestSurface final : public Surface {
public:
    int width() const override { return 4; }
    int height() const override { return 3; }
};

struct Delivery {
    std::weak_ptr<const Surface> surface;
    Size pixelSize;
    Rect frame;
};

struct Change {
    bool running;
    CaptureFilter filter;
    CaptureConfiguration configuration;
};

class CaptureTest : public testing::Test {
protected:
    CaptureTest() {
        // Sums of these are exact.
        desktop.state.timing.shareableContent = 0.5;
        desktop.state.timing.startCapture = 0.5;
        desktop.state.timing.stopCapture = 0.25;
        desktop.state.timing.firstFrame = 0.125;
        desktop.unifiedLog.onRecord = [this](const LogRecord& record) {
            logLines.push_back(record.category + ": " + record.message);
        };
        desktop.captureStreams.onRunningChanged = [this](const auto& change) {
            changes.push_back({change.running, change.filter, change.configuration});
        };
        makeCapture(false);
    }

    void TearDown() override {
        mainQueue.goOn();
        if (capture)
            capture->stop();
        run(10);
        capture.reset();
        desktop.checkNothingLeft();
        EXPECT_THAT(desktop.contracts.violations(), testing::IsEmpty());
    }

    void makeCapture(bool slowProcessor) {
        capture = WindowCapture::create({desktop.captureStreams, desktop.shareableContent,
                                         desktop.displays, desktop.applications, desktop.timeline,
                                         desktop.executor, mainQueue, log},
                                        slowProcessor);
        capture->setOnFrame([this](const auto& surface, Size pixelSize, const Rect& frame) {
            desktop.contracts.requireRole(sim::ThreadRole::main, "onFrame");
            delivered.push_back({surface, pixelSize, frame});
        });
    }

    static CaptureTarget target(const Rect& frame = {100, 50, 800, 600}) {
        CaptureTarget target;
        target.scWindow.windowID = 5;
        target.cgFrame = frame;
        target.title = "Notes";
        target.appName = "Editor";
        target.scDisplay.frame = {0, 0, 1920, 1080};
        return target;
    }

    // A window stands in front of it.
    static CaptureTarget coveredTarget() {
        CaptureTarget covered = target();
        covered.excludeWindows.emplace_back().windowID = 8;
        return covered;
    }

    static sim::Window window(std::uint32_t id, const Rect& bounds, const char* color) {
        sim::Window window;
        window.id = id;
        window.bounds = bounds;
        window.color = color;
        return window;
    }

    void run(double seconds) { desktop.timeline.advanceTo(desktop.timeline.now() + seconds); }
    void start(CaptureTarget target) { startDetached(capture->start(std::move(target))); }
    // Puts a window onto the desktop that the capture service offers.
    void list(std::uint32_t id, int pid = 3, std::optional<std::string> app = {}) {
        sim::Window& listed = desktop.state.windows.emplace_back(window(id, {}, "#000000"));
        listed.pid = pid;
        listed.app = std::move(app);
    }
    int fetches() const { return desktop.shareableContent.fetchCount(); }
    // Starts, and runs until that is over and before the first frame.
    void startAndRun(CaptureTarget target) {
        start(std::move(target));
        run(0.5);
    }

    std::shared_ptr<const Surface> sample(std::optional<SampleStatus> status) {
        auto surface = std::make_shared<TestSurface>();
        CaptureSample sample;
        sample.status = status;
        sample.width = 4;
        sample.height = 3;
        sample.surface = surface;
        capture->didOutputSample(sample);
        return surface;
    }

    static std::vector<std::uint32_t> excluded(const Change& change) {
        std::vector<std::uint32_t> ids;
        for (const ShareableWindow& window : change.filter.excludedWindows)
            ids.push_back(window.windowID);
        return ids;
    }
    std::vector<std::string> takenLog() { return std::exchange(logLines, {}); }

    sim::SimDesktop desktop;
    sim::SimTextFiles files;
    Log log{{files, desktop.logQueue, desktop.unifiedLog, desktop.timeline, desktop.mainQueue},
            "/logs"};
    BusyMainQueue mainQueue{desktop.mainQueue};
    std::vector<std::string> logLines;
    std::vector<Change> changes;
    std::vector<Delivery> delivered;
    std::shared_ptr<WindowCapture> capture;
};

} // namespace lentora::test
