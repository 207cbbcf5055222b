// What a session puts on the screen: a panel over the display under the pointer, and in it the
// lens, the hint card and the badge beside the pointer.
#pragma once

#include "capture/Geometry.h"
#include "platform/Clock.h"
#include "platform/Displays.h"
#include "platform/MainQueue.h"
#include "platform/Panel.h"
#include "platform/Screenshots.h"
#include "platform/ShareableContent.h"
#include "platform/TextMeasurer.h"
#include "render/LayerTransactions.h"
#include "render/MagnifierView.h"
#include "render/OverlayPanel.h"
#include "support/Rect.h"

#include <memory>

namespace lentora {

/// Main thread.
class LensOverlay {
public:
    /// They outlive the overlay.
    struct Services {
        Panels& panels;
        const Displays& displays;
        const TextMeasurer& textMeasurer;
        ShareableContentSource& shareableContent;
        Screenshots& screenshots;
        const MediaClock& clock;
        MainQueue& mainQueue;
    };

    explicit LensOverlay(const Services& services);

    /// Covers `screen`, above everything. The panel is made when it is first needed, and moved
    /// from then on.
    void present(const Screen& screen);

    /// Takes the panel off the screen at once.
    void orderOut();

    /// Fades the badge in or out, where that is a change.
    void setBadgeShown(bool shown);
    bool badgeShown() const { return badgeShown_; }

    /// Puts the badge beside the pointer (Cocoa space), at once.
    void placeBadge(Point cursor);

    /// The display that is covered, Cocoa space; empty before the first `present`.
    const Rect& screenFrame() const { return screenFrame_; }
    /// Its pixels per point.
    double screenScale() const { return screenScale_; }

    /// Null before the first `present`.
    const OverlayPanel* panel() const { return panel_.get(); }

    MagnifierView& magnifier() { return magnifier_; }
    const MagnifierView& magnifier() const { return magnifier_; }

private:
    Panels& panels_;
    const Geometry geometry_;
    LayerTransactions transactions_;
    MagnifierView magnifier_;
    // Shows the view's layers, so it goes first.
    std::shared_ptr<OverlayPanel> panel_;
    Rect screenFrame_{0, 0, 0, 0};
    double screenScale_ = 2;
    bool badgeShown_ = false;
};

} // namespace lentora
