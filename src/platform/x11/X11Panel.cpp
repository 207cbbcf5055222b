#include "platform/x11/X11Panel.h"

#include "platform/x11/X11Surface.h"

#include <algorithm>
#include <span>
#include <utility>

namespace lentora::x11 {

namespace {

// In pixels: a badge, a percentage, a blinking cursor. A server draws it in a fraction of a
// millisecond, and a frame of the captured window need not wait for the refresh after it.
constexpr std::int64_t littleArea = 1 << 16;

PixelRegion damageBetween(const Surface& now, const Surface& before) {
    const auto* newer = dynamic_cast<const X11Surface*>(&now);
    const auto* older = dynamic_cast<const X11Surface*>(&before);
    if (newer != nullptr && older != nullptr)
        return newer->damageSince(*older);
    return PixelRegion({0, 0, now.width(), now.height()});
}

} // namespace

X11Panel::X11Panel(std::shared_ptr<PanelSession> session, const Rect& frame)
    : session_(std::move(session)), window_(session_->server(), session_->onRoot(frame)),
      painter_(session_->server(), session_->services().text),
      raises_(session_->services().clock.now()) {
    session_->add(*this);
    window_.setTransparent(session_->isComposited());
    session_->flush();
}

X11Panel::~X11Panel() {
    session_->remove(*this);
    isShown_ = false;
    session_->shownPanelsDidChange();
    if (content_)
        content_->setObserver(nullptr);
    letGoOfDrawn();
    xcb_flush(session_->server()->get());
}

void X11Panel::setContent(std::shared_ptr<Layer> root) {
    if (content_)
        content_->setObserver(nullptr);
    content_ = std::move(root);
    if (content_)
        content_->setObserver(this);
    layersDidChange();
}

void X11Panel::setFrame(const Rect& frame) {
    const PixelRect before = window_.frame();
    const PixelRect onRoot = session_->onRoot(frame);
    if (onRoot == before)
        return;
    const bool needsBackdrop = isShown_ && !session_->isComposited();
    // Else it would lie as it is where it has not been, and spoil what is below.
    if (needsBackdrop)
        window_.cutAway();
    window_.setFrame(onRoot);
    followDisplay();
    if (needsBackdrop)
        startBackdrop();
    drawEverything();
    session_->flush();
}

void X11Panel::orderFront() {
    if (!isShown_) {
        if (!session_->isComposited())
            startBackdrop();
        isShown_ = true;
        session_->shownPanelsDidChange();
        followDisplay();
        window_.raise();
        window_.map();
        drawn_ = emptyTree();
        isUnknown_ = false;
        lost_.clear();
        pacer_.request();
        scheduleDrawing();
    } else {
        window_.raise();
        // What is being read is the order before that.
        mustRiseAgain_ = isRising_;
        ++raiseCount_;
    }
    session_->flush();
}

void X11Panel::orderOut() {
    if (!std::exchange(isShown_, false))
        return;
    window_.unmap();
    session_->shownPanelsDidChange();
    pacer_.cancel();
    backdrop_.reset();
    allDrawn_.reset();
    isFading_ = false;
    uncovered_.clear();
    painter_.freePixmaps();
    letGoOfDrawn();
    // The capture may end next, on a connection of its own. If the panel were still there by then,
    // the server would not put back what is below it, and the window would blink.
    session_->finish();
}

void X11Panel::layersDidChange() {
    pacer_.request();
    scheduleDrawing();
}

void X11Panel::contentsWereLost(const PixelRect& part, std::uint32_t request) {
    // Lost as the panel came and got its shape, and on its way to be drawn.
    if (allDrawn_ && isBefore(request, *allDrawn_))
        return;
    lost_.add(part);
    pacer_.request();
    scheduleDrawing();
}

void X11Panel::compositingDidChange() {
    const bool isComposited = session_->isComposited();
    window_.setTransparent(isComposited);
    if (!isShown_)
        return;
    if (isComposited)
        backdrop_.reset();
    else
        startBackdrop();
    drawEverything();
}

void X11Panel::stayOnTop() {
    if (!isShown_ || isRaiseScheduled_)
        return;
    // What was read before the panel moved is out of date.
    if (isRising_) {
        mustRiseAgain_ = true;
        return;
    }
    if (raises_.take(now())) {
        isRising_ = true;
        session_->readStack(
            [this, self = lifetime_.watch(), raises = raiseCount_](const auto& windows) {
                if (!self)
                    return;
                if (raises == raiseCount_)
                    goAbove(windows);
                else
                    hasRisen();
            });
        return;
    }
    isRaiseScheduled_ = true;
    session_->services().mainQueue.postAfter(raises_.waitingTime(now()),
                                             [this, self = lifetime_.watch()] {
                                                 if (!self)
                                                     return;
                                                 isRaiseScheduled_ = false;
                                                 stayOnTop();
                                                 session_->flush();
                                             });
}

void X11Panel::goAbove(const std::vector<StackedWindow>& windows) {
    const auto own = std::ranges::find(windows, window_.id(), &StackedWindow::id);
    if (own != windows.end())
        return goAboveAll({own + 1, windows.end()});
    hasRisen();
}

// From bottom to top, each by itself: one may be gone by now, and another may have come.
void X11Panel::goAboveAll(std::vector<StackedWindow> windows) {
    const auto cover = std::ranges::find_if(windows, [&](const StackedWindow& window) {
        return window.isOverrideRedirect && window.bounds.contains(window_.frame()) &&
               !session_->isPanel(window.id);
    });
    for (const StackedWindow& window : std::span(windows.begin(), cover)) {
        if (!session_->isPanel(window.id))
            window_.putAbove(window.id);
    }
    if (cover == windows.end())
        return hasRisen();
    // The frames that window managers make are unmanaged as well.
    session_->findClient(cover->id, [this, self = lifetime_.watch(), id = cover->id,
                                     rest = std::vector(cover + 1, windows.end())](bool isFrame) {
        if (!self)
            return;
        if (!isFrame)
            return hasRisen();
        window_.putAbove(id);
        goAboveAll(rest);
    });
}

void X11Panel::hasRisen() {
    isRising_ = false;
    if (std::exchange(mustRiseAgain_, false))
        stayOnTop();
}

void X11Panel::followDisplay() {
    pacer_.setInterval(refreshInterval(session_->layout(), window_.frame()));
}

PresentedTree X11Panel::emptyTree() const {
    PresentedTree tree;
    tree.scale = session_->layout().space.scale;
    tree.width = window_.frame().width;
    tree.height = window_.frame().height;
    return tree;
}

// Nothing of the panel is seen until it is drawn, and what is below it is copied by then.
void X11Panel::startBackdrop() {
    window_.cutAway();
    isFading_ = false;
    uncovered_.clear();
    behind_ = XCB_NONE;
    const PixelRect& frame = window_.frame();
    backdrop_ = std::make_unique<ServerPicture>(session_->server(), ServerPicture::Kind::root,
                                                frame.width, frame.height);
}

void X11Panel::drawEverything() {
    isUnknown_ = true;
    pacer_.request();
    scheduleDrawing();
}

// Never draws by itself: a change that is told of is not complete yet.
void X11Panel::scheduleDrawing() {
    if (!isShown_ || session_->isLost())
        return;
    const double time = now();
    const auto due = pacer_.due(time);
    if (!due || (scheduled_ && *scheduled_ <= *due))
        return;
    scheduled_ = due;
    auto work = [this, self = lifetime_.watch()] {
        if (self)
            drawIfDue();
    };
    if (*due <= time)
        session_->services().mainQueue.post(std::move(work));
    else
        session_->services().mainQueue.postAfter(*due - time, std::move(work));
}

void X11Panel::drawIfDue() {
    scheduled_.reset();
    const double time = now();
    const auto due = pacer_.due(time);
    if (isShown_ && due && *due <= time)
        draw(time);
    scheduleDrawing();
}

void X11Panel::draw(double time) {
    pacer_.begin(time);
    // What is drawn now is seen with the next refresh: what moves and fades is drawn as it is then.
    // A fade that begins now would have nothing to show else.
    const double seen = time + pacer_.interval();
    PresentedTree tree = emptyTree();
    if (content_) {
        tree = present(*content_, seen, tree.scale, tree.width, tree.height);
        if (content_->changesUntil() > seen)
            pacer_.requestNextStep();
    }
    PixelRegion region = changes(drawn_, tree, damageBetween);
    const bool drawsAll = isUnknown_ || drawn_.layers.empty();
    if (std::exchange(isUnknown_, false))
        region.add(tree.bounds());
    // Between the layers there is only what the server puts there itself.
    const PixelRegion lost = std::exchange(lost_, {});
    for (const PixelRect& part : lost.rects()) {
        for (const PresentedLayerPixels& layer : tree.layers)
            region.add(intersection(part, layer.extent));
    }
    if (region.area() < littleArea)
        pacer_.drawsLittle(time);
    if (!region.isEmpty())
        send(tree, region, drawsAll);
    drawn_ = std::move(tree);
    painter_.forgetContentsThatAreGone();
    session_->flush();
}

void X11Panel::send(const PresentedTree& tree, const PixelRegion& region, bool drawsAll) {
    if (backdrop_) {
        window_.cutTo(silhouette(tree), *backdrop_);
        refreshBackdrop(tree);
    }
    if (drawsAll)
        allDrawn_ = xcb_no_operation(session_->server()->get()).sequence;
    painter_.paint(tree, region, window_.picture(), backdrop_.get());
    pacer_.sent();
    session_->whenDone([this, self = lifetime_.watch()] {
        if (!self)
            return;
        // Events from before it have been handled by now.
        allDrawn_.reset();
        pacer_.finished();
        scheduleDrawing();
    });
}

// What fades is blended with the window as it is now, where that can be seen.
void X11Panel::refreshBackdrop(const PresentedTree& tree) {
    const auto isSeen = [](const PresentedLayerPixels& layer) {
        return layer.surface() != nullptr && layer.totalOpacity > 0;
    };
    const auto lens = std::ranges::find_if(tree.layers, isSeen);
    const bool isFading = lens != tree.layers.end() && lens->totalOpacity < 1;
    const bool wasFading = std::exchange(isFading_, isFading);
    if (!isFading) {
        uncovered_.clear();
        return;
    }
    if (!wasFading) {
        // It opens.
        if (std::ranges::none_of(drawn_.layers, isSeen))
            behind_ = XCB_NONE;
        findUncovered(intersection(tree.layers[lens->parent].shape, tree.bounds()));
    }
    painter_.refresh(tree, *backdrop_, uncovered_);
}

void X11Panel::findUncovered(const PixelRect& place) {
    session_->readStack([this, self = lifetime_.watch(), place,
                         frame = window_.frame()](const auto& windows) {
        if (!self || !isFading_ || !backdrop_ || frame != window_.frame())
            return;
        std::vector<PixelRect> uncovered{place};
        for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
            if (session_->isPanel(window->id))
                continue;
            const PixelRect bounds = window->bounds.translated(-frame.x, -frame.y);
            // A lens opens only over a window of which something can be seen; and it may have been
            // rounded up.
            const PixelRect around{bounds.x - 1, bounds.y - 1, bounds.width + 2, bounds.height + 2};
            if (around.contains(place) && (behind_ == XCB_NONE || behind_ == window->id)) {
                behind_ = window->id;
                uncovered_ = std::move(uncovered);
                lost_.add(place);
                pacer_.request();
                return scheduleDrawing();
            }
            uncovered = without(uncovered, bounds);
        }
    });
}

// The server may still have to read the surfaces.
void X11Panel::letGoOfDrawn() {
    auto tree = std::make_shared<PresentedTree>(std::exchange(drawn_, {}));
    session_->whenDone([this, self = lifetime_.watch(), tree]() mutable {
        tree.reset();
        if (!self)
            return;
        painter_.forgetContentsThatAreGone();
        session_->flush();
    });
}

} // namespace lentora::x11
