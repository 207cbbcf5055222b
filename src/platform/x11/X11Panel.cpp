#include "platform/x11/X11Panel.h"

#include "platform/x11/X11Surface.h"

#include <algorithm>
#include <utility>

namespace lentora::x11 {

namespace {

// Refreshes in a second that a display can have; what lies outside is a mistake of the driver's.
constexpr double leastRate = 24;
constexpr double highestRate = 360;

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
    window_.setFrame(onRoot);
    if (isShown_ && !session_->isComposited())
        backdrop_ = window_.pictureOfScreenBelow();
    drawEverything();
    session_->flush();
}

void X11Panel::orderFront() {
    if (!isShown_) {
        if (!session_->isComposited())
            backdrop_ = window_.pictureOfScreenBelow();
        isShown_ = true;
        session_->shownPanelsDidChange();
        session_->askRefreshRate([this, self = lifetime_.watch()](double hertz) {
            if (self && hertz >= leastRate && hertz <= highestRate)
                pacer_.setInterval(1 / hertz);
        });
        // Nothing of it is seen before it is drawn.
        if (!session_->isComposited())
            window_.cutTo({});
        window_.raise();
        window_.map();
        drawEverything();
    } else {
        window_.raise();
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
    painter_.freePixmaps();
    letGoOfDrawn();
    session_->flush();
}

void X11Panel::layersDidChange() {
    pacer_.request();
    scheduleDrawing();
}

void X11Panel::contentsWereLost(const PixelRect& part) {
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
        backdrop_ = window_.pictureOfScreenBelow();
    drawEverything();
}

void X11Panel::stayOnTop() {
    if (!isShown_ || isRaiseScheduled_)
        return;
    if (raises_.take(now())) {
        window_.raise();
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

void X11Panel::drawEverything() {
    lost_ = PixelRegion({0, 0, window_.frame().width, window_.frame().height});
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
    const PixelRect& frame = window_.frame();
    PresentedTree tree;
    tree.scale = session_->layout().space.scale;
    tree.width = frame.width;
    tree.height = frame.height;
    if (content_) {
        tree = present(*content_, time, tree.scale, frame.width, frame.height);
        if (content_->changesUntil() > time)
            pacer_.request();
    }
    PixelRegion region = changes(drawn_, tree, damageBetween);
    const PixelRegion lost = std::exchange(lost_, {});
    for (const PixelRect& part : lost.rects())
        region.add(intersection(part, tree.bounds()));
    if (!region.isEmpty())
        send(tree, region);
    drawn_ = std::move(tree);
    painter_.forgetContentsThatAreGone();
    session_->flush();
}

void X11Panel::send(const PresentedTree& tree, const PixelRegion& region) {
    if (backdrop_) {
        const auto isTranslucent = [](const PresentedLayerPixels& layer) {
            return layer.surface() != nullptr && layer.totalOpacity < 1;
        };
        // What fades is blended with the window as it is now.
        if (std::ranges::any_of(tree.layers, isTranslucent))
            painter_.refresh(tree, *backdrop_);
        window_.cutTo(silhouette(tree));
    }
    painter_.paint(tree, region, window_.picture(), backdrop_.get());
    pacer_.sent();
    session_->whenDone([this, self = lifetime_.watch()] {
        if (!self)
            return;
        pacer_.finished();
        scheduleDrawing();
    });
}

// The server may still have to read the surfaces.
void X11Panel::letGoOfDrawn() {
    session_->whenDone([tree = std::make_shared<PresentedTree>(std::exchange(drawn_, {}))] {});
}

} // namespace lentora::x11
