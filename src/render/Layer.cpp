#include "render/Layer.h"

#include <algorithm>
#include <utility>

namespace lentora {

Layer::~Layer() {
    for (const auto& child : children_)
        child->parent_ = nullptr;
}

void Layer::setFrame(const Rect& frame) {
    change(size_, Size{frame.width, frame.height});
    change(position_, Point{frame.x + anchor_.x * frame.width, frame.y + anchor_.y * frame.height});
}

void Layer::setStyle(const LayerStyle& style) {
    if (style == style_)
        return;
    style_ = style;
    noteChange();
}

void Layer::setContentsScale(double scale) {
    LayerStyle style = style_;
    style.contentsScale = scale;
    setStyle(style);
}

void Layer::setContents(LayerContents contents) {
    if (contents == contents_)
        return;
    contents_ = std::move(contents);
    noteChange();
}

void Layer::addChild(std::shared_ptr<Layer> child) {
    child->parent_ = this;
    children_.push_back(std::move(child));
    noteChange();
}

double Layer::changesUntil() const {
    double time = std::max({position_.settledAt(), size_.settledAt(), opacity_.settledAt()});
    for (const auto& child : children_)
        time = std::max(time, child->changesUntil());
    return time;
}

Rect Layer::frameOf(Point position, Size size) const {
    return {position.x - anchor_.x * size.width, position.y - anchor_.y * size.height, size.width,
            size.height};
}

void Layer::noteChange() {
    ++changeCount_;
    for (const Layer* layer = this; layer; layer = layer->parent_) {
        if (layer->observer_)
            layer->observer_->layersDidChange();
    }
}

} // namespace lentora
