// The windows of a real X server as the program tells of them, with programs that make some.
#pragma once

#include "desktop/WindowClient.h"
#include "platform/x11/X11WindowServices.h"
#include "testdesktop/TestDesktop.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lentora::test {

class WindowFixture : public testing::Test {
protected:
    void SetUp() override {
        auto start = testdesktop::TestDesktop::start();
        ASSERT_TRUE(start.desktop) << start.error;
        server = std::move(start.desktop);
        app = std::make_unique<WindowClient>(server->displayName());
        watch();
    }

    /// Starts to keep the windows in mind, anew where it has done so before.
    void watch(x11::X11DesktopOptions options = {}) {
        std::string error;
        options.display = server->displayName();
        desktop = x11::X11Desktop::open(std::move(options), error);
        ASSERT_TRUE(desktop) << error;
    }

    /// As the desktop is after everything that the programs did.
    x11::X11Desktop::Snapshot now() {
        app->finish();
        auto snapshot = desktop->current();
        EXPECT_TRUE(snapshot);
        return snapshot ? snapshot : desktop->last();
    }

    /// The titles of the windows on the screen, front-most first.
    std::vector<std::string> titles() {
        std::vector<std::string> found;
        for (const x11::DesktopWindow& window : now()->windows) {
            if (window.isOnScreen)
                found.push_back(window.title);
        }
        return found;
    }

    /// The window with a title; one without a number when there is none.
    x11::DesktopWindow titled(const std::string& title) {
        for (const x11::DesktopWindow& window : now()->windows) {
            if (window.title == title)
                return window;
        }
        return {};
    }

    std::unique_ptr<testdesktop::TestDesktop> server;
    std::unique_ptr<WindowClient> app;
    std::unique_ptr<x11::X11Desktop> desktop;
    posix::DesktopEntries entries{{}};
    x11::AppIdentities identities{entries};
};

} // namespace lentora::test
