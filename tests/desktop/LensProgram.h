// The magnifier as users run it, on a desktop with windows that show pictures, and with hands.
#pragma once

#include "desktop/ChildProcess.h"
#include "desktop/Compositor.h"
#include "desktop/LensPixels.h"
#include "support/TempFolder.h"
#include "testdesktop/TestDesktop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lentora::test {

class LensProgram : public testing::Test {
protected:
    /// In pixels, which are points unless the desktop has another scale.
    int screenWidth = 1000;
    int screenHeight = 800;

    /// The server lacks it; empty: it lacks nothing.
    std::string withoutExtension;

    /// What the program finds in its environment beside its display.
    std::map<std::string, std::string> environment{{"XDG_STATE_HOME", ""},
                                                   {"WAYLAND_DISPLAY", ""},
                                                   {"XDG_SESSION_TYPE", ""},
                                                   {"LC_ALL", "C.UTF-8"}};

    void SetUp() override;

    /// That many pixels are a point, for programs that start from now on.
    void setScale(int pixels);

    /// Starts the program.
    void start(std::vector<std::string> arguments = {});
    /// Starts it and waits until it watches input.
    void launch(std::vector<std::string> arguments = {});

    testdesktop::InputInjector& hands() { return desktop->injector(); }

    /// A double press that stays down, a pinch, and the release that locks the lens.
    void openLocked();
    /// The second press of a double press stays down.
    void pressGateTwice();

    std::string logPath() const { return home.path() + "/Library/Logs/Lentora/spike.log"; }
    /// What the program has logged so far.
    std::string log() const;
    int timesLogged(const std::string& text) const;
    /// Waits until the log holds `text`, `times` times.
    bool awaitLog(const std::string& text, int times = 1) const;

    Picture screen(const PixelRect& part) const;
    /// What is there once it has not changed for a while.
    Picture stillPicture(const PixelRect& part) const;

    /// Longer than anything should take.
    static constexpr std::chrono::seconds patience{15};
    /// Waits until `isSo`. False when that takes longer than `limit`.
    static bool eventually(const std::function<bool()>& isSo,
                           std::chrono::milliseconds limit = patience);

    /// Waits until what was before has no part in what comes: a press is not the second of a double
    /// press, an attempt is not refused because one has just failed, and windows are where they are
    /// now, and not where they were when the last lens was opened.
    static void awaitFreshStart();

    /// Waits until the lens over `part`, with the pointer at (`x`, `y`), shows `window` at `zoom`.
    testing::AssertionResult showsLens(const PixelRect& part, const Picture& window, int x, int y,
                                       double zoom) const;
    /// The same of a lens that stands still: what it shows is about (`x`, `y`), and the pointer is
    /// at (`pointerX`, `pointerY`).
    testing::AssertionResult showsStillLens(const PixelRect& part, const Picture& window, int x,
                                            int y, double zoom, int pointerX, int pointerY) const;

    /// Waits until the screen shows exactly this there.
    bool showsExactly(const PixelRect& part, const Picture& picture) const;

    /// Waits until the whole disc of the badge is beside a pointer at (`x`, `y`).
    testing::AssertionResult showsBadge(int x, int y) const;

    /// What the badge and its shadow may cover there.
    PixelRect badgeArea(int x, int y) const;

    /// The middle of the hint card's left edge, and some of what is around it, on a monitor.
    PixelRect cardCorner(const PixelRect& monitor) const;

    /// The window of the lens is on the screen.
    bool isLensShown() const;

    /// How many resources of each kind the program has at the server, over all its connections.
    std::map<std::string, unsigned> resources() const;

    int scale = 1;
    TempFolder home;
    std::unique_ptr<testdesktop::TestDesktop> desktop;
    std::unique_ptr<PaintingProgram> painter;
    std::unique_ptr<ChildProcess> program;
};

} // namespace lentora::test
