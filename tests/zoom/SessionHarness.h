// The zoom session on a simulated desktop, with a backend that only remembers what it is told.
#pragma once

#include "capture/WindowCapture.h"
#include "capture/WindowTarget.h"
#include "platform/sim/SimDesktop.h"
#include "support/Log.h"
#include "support/StringTable.h"
#include "zoom/ZoomController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

class QuietBackend final : public InputBackend {
public:
    void setDelegate(std::weak_ptr<InputBackendDelegate> /*delegate*/) override {}
    std::shared_ptr<InputBackendDelegate> delegate() const override { return nullptr; }
    std::string label() const override { return ""; }
    bool gateActive() const override { return false; }
    bool engaged() const override { return false; }
    bool isLocked() const override { return locked; }
    void start() override {}
    void stop() override {}
    void debugForceEngage() override {}
    void debugForceRelease() override {}
    void cancelEngage() override { ++cancelCount; }

    bool locked = false;
    int cancelCount = 0;
};

/// A window at (100, 430), 800 x 600, under the pointer at (300, 700); Cocoa space.
class SessionTest : public testing::Test {
protected:
    SessionTest() {
        desktop.state.windows = {window()};
        desktop.state.pointer = overWindow;
        desktop.unifiedLog.onRecord = [this](const LogRecord& record) {
            logLines.push_back(record.category + ": " + record.message);
        };
        zoom->inputBackend = backend;
        zoom->onSessionEnded = [this] { ++endedCount; };
        zoom->maxZoom = 4;
        // Past the time in which a failure, or a notice, at time 0 would still count.
        wait(10);
    }

    ~SessionTest() override {
        zoom->closeSession();
        wait(5);
        desktop.checkNothingLeft();
        EXPECT_THAT(desktop.contracts.violations(), testing::IsEmpty());
        desktop.timeline.clear();
    }

    static sim::Window window() {
        sim::Window window;
        window.id = 7;
        window.pid = 3;
        window.bounds = {100, 50, 800, 600};
        window.app = "Editor";
        return window;
    }

    void wait(double seconds) { desktop.timeline.advanceTo(desktop.timeline.now() + seconds); }

    /// Opens a lens and lets it come to rest.
    void open() {
        zoom->inputDidEngage(1);
        wait(1);
        ASSERT_EQ(zoom->state(), SessionState::active);
    }

    std::shared_ptr<ZoomController> makeZoom() {
        return ZoomController::create({.windowTarget = windowTarget,
                                       .capture = capture,
                                       .panels = desktop.panels,
                                       .displayLinks = desktop.displayLinks,
                                       .displays = desktop.displays,
                                       .pointer = desktop.pointer,
                                       .permissions = desktop.permissions,
                                       .textMeasurer = desktop.textMeasurer,
                                       .shareableContent = desktop.shareableContent,
                                       .screenshots = desktop.screenshots,
                                       .clock = desktop.timeline,
                                       .mainQueue = desktop.mainQueue,
                                       .log = log,
                                       .strings = strings});
    }

    std::vector<std::string> takenLog() { return std::exchange(logLines, {}); }

    static constexpr Point overWindow{300, 700};
    static constexpr Point overNothing{1800, 100};

    sim::SimDesktop desktop;
    sim::SimTextFiles files;
    std::vector<std::string> logLines;
    Log log{{files, desktop.logQueue, desktop.unifiedLog, desktop.timeline, desktop.mainQueue},
            "/logs"};
    StringTable strings{Locale::keys};
    std::shared_ptr<QuietBackend> backend = std::make_shared<QuietBackend>();
    std::shared_ptr<WindowTarget> windowTarget =
        WindowTarget::create({desktop.shareableContent, desktop.windowList, desktop.displays,
                              desktop.pointer, desktop.applications, desktop.focusedWindows,
                              desktop.permissions, desktop.timeline, desktop.executor, log},
                             IndependentApps());
    std::shared_ptr<WindowCapture> capture = WindowCapture::create(
        {desktop.captureStreams, desktop.shareableContent, desktop.displays, desktop.applications,
         desktop.timeline, desktop.executor, desktop.mainQueue, log},
        false);
    std::shared_ptr<ZoomController> zoom = makeZoom();
    int endedCount = 0;
};

} // namespace lentora::test
