// A magnifier view in a panel on the simulated desktop.
#pragma once

#include "capture/Geometry.h"
#include "platform/sim/DesktopPicture.h"
#include "platform/sim/PixelSource.h"
#include "platform/sim/SimDesktop.h"
#include "render/LayerTransactions.h"
#include "render/MagnifierView.h"
#include "render/OverlayPanel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace lentora::test {

class PictureSurface final : public Surface, public sim::PixelSource {
public:
    explicit PictureSurface(Picture picture) : picture_(std::move(picture)) {}

    int width() const override { return picture_.width(); }
    int height() const override { return picture_.height(); }
    Picture picture() const override { return picture_; }

private:
    Picture picture_;
};

/// Asked for the shareable content, a screenshot, or both, it drops the question.
class DeafService final : public ShareableContentSource, public Screenshots {
public:
    void fetch(Request /*request*/, ShareableContentSource::Answer /*answer*/) override {}
    void capture(const CaptureFilter& /*filter*/, const CaptureConfiguration& /*configuration*/,
                 Screenshots::Answer /*answer*/) override {}
};

class ViewTest : public testing::Test {
protected:
    ViewTest() { makeView(desktop.shareableContent, desktop.screenshots); }

    ~ViewTest() override {
        if (panel->isVisible())
            panel->orderOut();
        wait(1);
        desktop.checkNothingLeft();
        EXPECT_THAT(desktop.contracts.violations(), testing::IsEmpty());
    }

    void makeView(ShareableContentSource& content, Screenshots& screenshots) {
        view = std::make_unique<MagnifierView>(
            MagnifierView::Services{transactions, desktop.mainQueue, geometry, desktop.textMeasurer,
                                    content, screenshots},
            Rect{});
    }

    /// Over the first display.
    void showPanel() {
        const Rect frame = desktop.state.displays.front().frame;
        panel->setFrame(frame);
        view->setFrame({0, 0, frame.width, frame.height});
        panel->setContentView(*view);
        panel->orderFrontRegardless();
    }

    void wait(double seconds) { desktop.timeline.advanceTo(now() + seconds); }
    double now() const { return desktop.timeline.now(); }

    double clipOpacity() const { return view->clipLayer()->opacityAt(now()); }
    Rect imageFrame() const { return view->imageLayer()->frameAt(now()); }
    double cardOpacity() const { return view->hint().hintCard()->opacityAt(now()); }
    double labelOpacity() const { return view->hint().hintLabel()->opacityAt(now()); }

    sim::SimDesktop desktop;
    Geometry geometry{desktop.displays};
    LayerTransactions transactions{desktop.timeline, desktop.mainQueue};
    std::unique_ptr<MagnifierView> view;
    std::shared_ptr<OverlayPanel> panel = OverlayPanel::create(desktop.panels, {0, 0, 100, 100});
};

} // namespace lentora::test
