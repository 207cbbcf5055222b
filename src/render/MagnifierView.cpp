#include "render/MagnifierView.h"

#include "render/Fades.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <variant>

namespace lentora {

namespace {

// Points.
constexpr double clipCornerRadius = 10;
constexpr double clipBorderWidth = 2;
constexpr Color clipBorderColor = Color::white(1, 0.9);

constexpr Transition lensFade{fadeDuration, TimingFunction::easeOut()};

double held(double value, double limit) {
    return std::isnan(value) ? 0 : std::min(std::max(value, 0.0), limit);
}

} // namespace

MagnifierView::MagnifierView(const Services& services, const Rect& frame)
    : transactions_(services.transactions), mainQueue_(services.mainQueue),
      layer_(std::make_shared<Layer>(services.transactions)),
      clipLayer_(std::make_shared<Layer>(services.transactions)),
      imageLayer_(std::make_shared<Layer>(services.transactions)),
      hint_(
          {services.transactions, services.geometry, services.textMeasurer,
           BackgroundSampler(services.shareableContent, services.screenshots, services.mainQueue)}),
      badge_(services.transactions) {
    layer_->setFrame(frame);
    clipLayer_->setStyle({.cornerRadius = clipCornerRadius,
                          .borderWidth = clipBorderWidth,
                          .borderColor = clipBorderColor,
                          .masksToBounds = true});
    clipLayer_->setOpacity(0);
    imageLayer_->setStyle({.geometryFlipped = true,
                           .contentsGravity = ContentsGravity::resize,
                           .magnificationFilter = ContentsFilter::linear,
                           .minificationFilter = ContentsFilter::linear});
    clipLayer_->addChild(imageLayer_);
    layer_->addChild(clipLayer_);
    layer_->addChild(hint_.hintCard());
    layer_->addChild(hint_.hintLabel());
    layer_->addChild(badge_.cursorBadge());
}

void MagnifierView::beginSession(const Rect& windowRect, Point newFocus, Size newSourceSize,
                                 double screenScale) {
    sourcePointSize_ = newSourceSize;
    setFocus(newFocus);
    releasing_ = false;
    awaitingFirstFrame_ = true;
    const int token = ++sessionToken_;
    transactions_.withoutAnimation([&] {
        clipLayer_->setFrame(windowRect);
        clipLayer_->setContentsScale(screenScale);
        imageLayer_->setContentsScale(screenScale);
        imageLayer_->setContents(std::monostate{});
        imageLayer_->setFrame({0, 0, sourcePointSize_.width, sourcePointSize_.height});
        clipLayer_->setOpacity(0);
    });
    mainQueue_.postAfter(firstFrameLimit, [this, self = lifetime_.watch(), token] {
        if (!self || sessionToken_ != token || !awaitingFirstFrame_ || releasing_)
            return;
        awaitingFirstFrame_ = false;
        fadeInClip();
    });
}

void MagnifierView::apply(Point focus, double zoom) {
    if (releasing_)
        return;
    setFocus(focus);
    // Adding 0 turns -0 into 0, which reads better in traces.
    const Rect frame{(1 - zoom) * focusInClip_.x + 0.0, (1 - zoom) * focusInClip_.y + 0.0,
                     zoom * sourcePointSize_.width, zoom * sourcePointSize_.height};
    transactions_.withoutAnimation([&] { imageLayer_->setFrame(frame); });
}

void MagnifierView::showFrame(const std::shared_ptr<const Surface>& surface) {
    if (releasing_)
        return;
    imageLayer_->setContents(surface);
    if (std::exchange(awaitingFirstFrame_, false))
        fadeInClip();
}

void MagnifierView::fadeInClip() {
    transactions_.animated(lensFade, [&] { clipLayer_->setOpacity(1); });
}

void MagnifierView::clearLens() {
    releasing_ = false;
    awaitingFirstFrame_ = false;
    transactions_.withoutAnimation([&] {
        clipLayer_->setOpacity(0);
        imageLayer_->setContents(std::monostate{});
    });
}

void MagnifierView::releaseSession() {
    releasing_ = true;
    awaitingFirstFrame_ = false;
    hint_.fadeHint(false);
    transactions_.animated(
        lensFade,
        [&] {
            imageLayer_->setFrame({0, 0, sourcePointSize_.width, sourcePointSize_.height});
            clipLayer_->setOpacity(0);
        },
        [this, self = lifetime_.watch()] {
            if (self)
                completeRelease();
        });
}

void MagnifierView::releaseArmed() {
    releasing_ = true;
    hint_.fadeHint(false, [this, self = lifetime_.watch()] {
        if (self)
            completeRelease();
    });
}

void MagnifierView::setFocus(Point focus) {
    focusInClip_ = {held(focus.x, sourcePointSize_.width), held(focus.y, sourcePointSize_.height)};
}

void MagnifierView::completeRelease() const {
    if (releasing_ && onReleaseComplete)
        onReleaseComplete();
}

} // namespace lentora
