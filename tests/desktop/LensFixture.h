// A lens on a real X server: windows that are captured, a magnifier view on a panel, and what is
// to be seen of it.
#pragma once

#include "capture/Geometry.h"
#include "desktop/CaptureFixture.h"
#include "desktop/Compositor.h"
#include "desktop/LensPixels.h"
#include "desktop/TestLoop.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/sim/TextLayout.h"
#include "platform/x11/X11Panels.h"
#include "platform/x11/X11Screenshots.h"
#include "render/MagnifierView.h"
#include "render/OverlayPanel.h"
#include "support/Picture.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

class BlankText final : public TextRenderer {
public:
    Picture render(const AttributedText& /*text*/, int width, int height,
                   double /*scale*/) const override {
        return {width, height, {255, 255, 255, 255}};
    }
};

class OneDisplay final : public Displays {
public:
    explicit OneDisplay(const Screen& screen) : screen_(screen) {}
    std::vector<Screen> screens() const override { return {screen_}; }
    std::optional<Screen> mainScreen() const override { return screen_; }

private:
    const Screen screen_;
};

/// What can be captured: the display, and one window.
class ListedDesktop final : public ShareableContentSource {
public:
    explicit ListedDesktop(BackgroundExecutor& executor) : executor_(executor) {}

    void list(const Rect& displayFrame, std::uint32_t windowID) {
        auto content = std::make_shared<ShareableContent>();
        content->displays.push_back({1, displayFrame});
        content->windows.emplace_back().windowID = windowID;
        content_ = std::move(content);
    }

    void fetch(Request /*request*/, Answer answer) override {
        executor_.post([content = content_, answer = std::move(answer)] { answer(content); });
    }

private:
    BackgroundExecutor& executor_;
    std::shared_ptr<const ShareableContent> content_;
};

class LensFixture : public CaptureFixture {
protected:
    static constexpr int screenWidth = 800;
    static constexpr int screenHeight = 600;

    void SetUp() override {
        auto start = testdesktop::TestDesktop::start(
            {.screenWidth = screenWidth, .screenHeight = screenHeight});
        ASSERT_TRUE(start.desktop) << start.error;
        desktop = std::move(start.desktop);
        program = std::make_unique<PaintingProgram>(desktop->displayName());
        options.display = desktop->displayName();
        filter.display.frame = {0, 0, screenWidth, screenHeight};
        configuration.minimumFrameInterval = 1.0 / 500;
    }

    void TearDown() override {
        panel.reset();
        view.reset();
        panels.reset();
        CaptureFixture::TearDown();
        compositor.reset();
    }

    /// A window that shows `picture`.
    std::unique_ptr<PaintedWindow> showing(const Picture& picture, int x, int y) const {
        return showPicture(*program, picture, x, y);
    }

    /// Makes the view and its panel over the whole screen, not on it yet.
    void makeLens(double pixelsPerPoint = 1) {
        scale = pixelsPerPoint;
        layout = x11::screenLayout({{1, {0, 0, screenWidth, screenHeight}, true}}, scale);
        display = std::make_unique<OneDisplay>(x11::screensOf(layout).front());
        geometry = std::make_unique<Geometry>(*display);
        std::string error;
        panels = x11::X11Panels::open({.display = desktop->displayName(),
                                       .layout = [this] { return layout; },
                                       .serverLost = [this] { ++lostServers; }},
                                      {loop.clock(), loop, loop, *textRenderer}, error);
        ASSERT_TRUE(panels) << error;
        const Rect frame = display->screens().front().frame;
        options.space = [space = layout.space] { return space; };
        screenshots = std::make_unique<x11::X11Screenshots>(options, executor);
        view = std::make_unique<MagnifierView>(MagnifierView::Services{transactions, loop,
                                                                       *geometry, *textMeasurer,
                                                                       listed, *screenshots},
                                               Rect{0, 0, frame.width, frame.height});
        panel = OverlayPanel::create(*panels, frame);
        listed.list(frame, panel->windowNumber());
        panel->setContentView(*view);
        ShareableWindow own;
        own.windowID = panel->windowNumber();
        filter.excludedWindows.push_back(own);
    }

    /// Opens a lens over this part of the screen, in pixels, with its picture in it.
    void openLens(const PixelRect& part) {
        start(part);
        panel->orderFrontRegardless();
        lensOnScreen = part;
        lens = {part.x / scale, (screenHeight - part.maxY()) / scale, part.width / scale,
                part.height / scale};
        view->beginSession(lens, {lens.width / 2, lens.height / 2}, {lens.width, lens.height},
                           scale);
        surface = frames->next();
        ASSERT_TRUE(surface);
        view->showFrame(surface);
        transactions.withoutAnimation([&] { view->clipLayer()->setOpacity(1); });
        loop.runUntilQuiet();
    }

    /// Shows the newest frame.
    void showFrame(SurfacePtr frame) {
        surface = std::move(frame);
        view->imageLayer()->setContents(std::shared_ptr<const Surface>(surface));
    }

    /// Points from the lens's bottom-left corner.
    void zoom(Point focus, double factor) {
        view->apply(focus, factor);
        loop.runUntilQuiet();
    }

    /// What the server shows by itself.
    Picture rootPixels(const PixelRect& part) const {
        return pixelsOf(program->get(), program->root(), part);
    }
    /// What the user sees.
    Picture screen(const PixelRect& part) const {
        return compositor ? compositor->screen(part) : rootPixels(part);
    }
    Picture screen() const { return screen({0, 0, screenWidth, screenHeight}); }

    /// Runs where there is one.
    std::unique_ptr<Compositor> compositor;
    TestLoop loop;
    LayerTransactions transactions{loop.clock(), loop};
    const BlankText blankText{};
    const sim::SimTextMeasurer blockMeasurer{};
    const TextRenderer* textRenderer = &blankText;
    const TextMeasurer* textMeasurer = &blockMeasurer;
    posix::ThreadExecutor executor{1};
    ListedDesktop listed{executor};
    std::unique_ptr<x11::X11Screenshots> screenshots;
    double scale = 1;
    x11::ScreenLayout layout;
    int lostServers = 0;
    std::unique_ptr<OneDisplay> display;
    std::unique_ptr<Geometry> geometry;
    std::unique_ptr<x11::X11Panels> panels;
    std::unique_ptr<MagnifierView> view;
    std::shared_ptr<OverlayPanel> panel;
    /// The lens in pixels of the screen, and in points of the view.
    PixelRect lensOnScreen;
    Rect lens;
    SurfacePtr surface;
};

} // namespace lentora::test
