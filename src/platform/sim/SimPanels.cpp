#include "platform/sim/SimPanels.h"

#include <algorithm>
#include <utility>

namespace lentora::sim {

SimPanel::SimPanel(SimPanels& panels, const Rect& frame, std::uint32_t windowNumber)
    : panels_(panels), frame_(frame), windowNumber_(windowNumber) {
    panels_.panels_.push_back(this);
}

SimPanel::~SimPanel() {
    if (content_)
        content_->setObserver(nullptr);
    std::erase(panels_.panels_, this);
}

void SimPanel::setContent(std::shared_ptr<Layer> root) {
    panels_.contracts_.requireRole(ThreadRole::main, "Panel::setContent");
    if (content_)
        content_->setObserver(nullptr);
    content_ = std::move(root);
    hasChanged_ = true;
    if (content_)
        content_->setObserver(this);
}

void SimPanel::setFrame(const Rect& frame) {
    panels_.contracts_.requireRole(ThreadRole::main, "Panel::setFrame");
    hasChanged_ = hasChanged_ || frame != frame_;
    frame_ = frame;
}

void SimPanel::orderFront() {
    panels_.contracts_.requireRole(ThreadRole::main, "Panel::orderFront");
    hasChanged_ = hasChanged_ || !isShown_;
    isShown_ = true;
    if (panels_.onOrder)
        panels_.onOrder(true, frame_);
}

void SimPanel::orderOut() {
    panels_.contracts_.requireRole(ThreadRole::main, "Panel::orderOut");
    isShown_ = false;
    if (panels_.onOrder)
        panels_.onOrder(false, frame_);
}

void SimPanel::layersDidChange() {
    panels_.contracts_.requireRole(ThreadRole::main, "a change of a layer");
    hasChanged_ = true;
}

bool SimPanel::takeDrawing(double now) {
    const bool moves = content_ && content_->changesUntil() > lastDrawn_;
    if (!isShown_ || !(hasChanged_ || moves))
        return false;
    hasChanged_ = false;
    lastDrawn_ = now;
    return true;
}

std::unique_ptr<Panel> SimPanels::make(const Rect& frame) {
    contracts_.requireRole(ThreadRole::main, "Panels::make");
    return std::make_unique<SimPanel>(*this, frame, nextWindowNumber_++);
}

SimPanel* SimPanels::shownPanel() const {
    const auto found = std::ranges::find_if(panels_, &SimPanel::isShown);
    return found == panels_.end() ? nullptr : *found;
}

} // namespace lentora::sim
