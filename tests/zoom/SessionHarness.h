// The zoom session on a simulated desktop, with a backend that only remembers what it is told.
#pragma once

#include "app/SessionParts.h"
#include "platform/sim/SimSession.h"
#include "support/Log.h"
#include "support/Settings.h"
#include "support/StringTable.h"

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
        desktop.defaults.setValue("continuousZoom", false);
        desktop.defaults.setValue("fixedZoomLevel", 2.0);
        desktop.defaults.setValue("maxZoomLevel", 4.0);
        applySettings(Settings(desktop.defaults), strings, *zoom);
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

    /// A pinch whose window turns out to be protected, 0.5 s after it was let go of. Attempts from
    /// now on succeed, and sooner.
    void closeAnAttemptThatFailsLater() {
        desktop.state.timing.shareableContent = 0.5;
        desktop.state.windows[0].shareable = false;
        zoom->inputDidEngage(1);
        wait(0.01);
        zoom->inputDidRelease(ReleaseReason::gateUp);
        desktop.state.timing.shareableContent = 0.02;
        desktop.state.windows[0].shareable = true;
    }

    SessionParts makeParts() {
        return makeSession(sim::sessionServices(desktop, log, strings), IndependentApps());
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
    SessionParts parts = makeParts();
    std::shared_ptr<ZoomController>& zoom = parts.zoom;
    int endedCount = 0;
};

} // namespace lentora::test
