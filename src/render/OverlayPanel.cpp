#include "render/OverlayPanel.h"

#include "render/MagnifierView.h"

#include <utility>

namespace lentora {

std::shared_ptr<OverlayPanel> OverlayPanel::create(Panels& panels, const Rect& contentRect) {
    return std::shared_ptr<OverlayPanel>(new OverlayPanel(panels.make(contentRect), contentRect));
}

OverlayPanel::OverlayPanel(std::unique_ptr<Panel> panel, const Rect& frame)
    : panel_(std::move(panel)), frame_(frame) {}

void OverlayPanel::setContentView(MagnifierView& view) {
    panel_->setContent(view.layer());
    view.setWindow(weak_from_this());
}

void OverlayPanel::setFrame(const Rect& frame) {
    frame_ = frame;
    panel_->setFrame(frame);
}

void OverlayPanel::orderFrontRegardless() {
    isVisible_ = true;
    panel_->orderFront();
}

void OverlayPanel::orderOut() {
    isVisible_ = false;
    panel_->orderOut();
}

} // namespace lentora
