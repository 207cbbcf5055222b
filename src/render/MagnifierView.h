// The lens: the live picture of a window, scaled about a point and cut to the window's rectangle,
// so that the magnified window lies over the real one and what is under the pointer stays there.
// The view also carries the hint card and the cursor badge.
//
//     layer                 the view, as large as its panel
//       clipLayer           the window's rectangle, with the lens's border
//         imageLayer        the captured frame
//       hintCard            render/HintCard.h
//       hintLabel
//       cursorBadge         render/CursorBadge.h
//         cursorGlyph
//
// | state             | releasing | awaitingFirstFrame | clip                                    |
// | ----------------- | --------- | ------------------ | --------------------------------------- |
// | idle              | no        | no                 | transparent                             |
// | waiting           | no        | yes                | transparent until a frame, or the limit |
// | showing           | no        | no                 | opaque; the image follows `apply`       |
// | releasing         | yes       | no                 | fading out; nothing else moves it       |
#pragma once

#include "capture/Geometry.h"
#include "platform/MainQueue.h"
#include "platform/Screenshots.h"
#include "platform/ShareableContent.h"
#include "platform/TextMeasurer.h"
#include "render/CursorBadge.h"
#include "render/HintCard.h"
#include "render/Layer.h"
#include "support/Lifetime.h"
#include "support/Rect.h"

#include <functional>
#include <memory>
#include <string>

namespace lentora {

class OverlayPanel;

/// Coordinates are points of the display that the panel covers, origin at its bottom-left corner,
/// y up. Main thread.
class MagnifierView {
public:
    /// They outlive the view, and its layers.
    struct Services {
        LayerTransactions& transactions;
        MainQueue& mainQueue;
        const Geometry& geometry;
        const TextMeasurer& textMeasurer;
        ShareableContentSource& shareableContent;
        Screenshots& screenshots;
    };

    /// Seconds after which a lens without a frame is shown all the same.
    static constexpr double firstFrameLimit = 0.35;

    MagnifierView(const Services& services, const Rect& frame);

    void setFrame(const Rect& frame) { layer_->setFrame(frame); }

    /// The window that the view fills; for `OverlayPanel`.
    void setWindow(std::weak_ptr<const OverlayPanel> window) { hint_.setWindow(std::move(window)); }

    // The lens.

    /// Prepares a new lens over `windowRect`: at 1x, empty and transparent. `newFocus` is in
    /// points from the window's bottom-left corner, `newSourceSize` the window's size in points,
    /// `screenScale` the pixels per point of its display.
    void beginSession(const Rect& windowRect, Point newFocus, Size newSourceSize,
                      double screenScale);

    /// Shows the image `zoom` times as large about `focus`, a point of the window. Nothing while
    /// releasing.
    void apply(Point focus, double zoom);

    /// Shows a frame, and with the first one of a lens fades the lens in. Nothing while releasing.
    void showFrame(const std::shared_ptr<const Surface>& surface);

    /// Makes the lens, whatever it is doing, empty and invisible at once: only hint and badge are
    /// left.
    void clearLens();

    /// Zooms back to 1x, fades everything out, then calls `onReleaseComplete`.
    void releaseSession();

    /// Fades the hint out, then calls `onReleaseComplete`.
    void releaseArmed();

    /// A close has begun, and since then neither a new lens nor `clearLens`.
    bool releasing() const { return releasing_; }

    /// The lens is transparent until its first frame.
    bool awaitingFirstFrame() const { return awaitingFirstFrame_; }

    /// Called at the end of a close, if it was not overtaken by a new lens. May be empty.
    std::function<void()> onReleaseComplete;

    // The hint card and the badge.

    void showHint(std::string title, int percent, std::string commands) {
        hint_.showHint(std::move(title), percent, std::move(commands));
    }
    void fadeHint(bool visible) { hint_.fadeHint(visible); }
    void setCursorBadge(bool visible, double screenScale) {
        badge_.setCursorBadge(visible, screenScale);
    }

    // What there is to look at.

    const std::shared_ptr<Layer>& layer() const { return layer_; }
    const std::shared_ptr<Layer>& clipLayer() const { return clipLayer_; }
    const std::shared_ptr<Layer>& imageLayer() const { return imageLayer_; }
    const std::shared_ptr<Layer>& cursorBadge() const { return badge_.cursorBadge(); }
    const std::shared_ptr<Layer>& cursorGlyph() const { return badge_.cursorGlyph(); }
    const HintCard& hint() const { return hint_; }

    /// Inside of the window.
    Point focusInClip() const { return focusInClip_; }
    /// Counts the lenses.
    int sessionToken() const { return sessionToken_; }

private:
    void fadeInClip();
    void setFocus(Point focus);
    void completeRelease() const;

    LayerTransactions& transactions_;
    MainQueue& mainQueue_;
    std::shared_ptr<Layer> layer_;
    std::shared_ptr<Layer> clipLayer_;
    std::shared_ptr<Layer> imageLayer_;
    HintCard hint_;
    CursorBadge badge_;
    Size sourcePointSize_{1, 1};
    Point focusInClip_;
    bool releasing_ = false;
    bool awaitingFirstFrame_ = false;
    int sessionToken_ = 0;
    Lifetime lifetime_;
};

} // namespace lentora
