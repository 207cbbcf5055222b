#include "render/LayerVisitor.h"

#include <algorithm>
#include <cmath>

namespace lentora {

namespace {

bool isFinite(const Rect& rect) {
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width) &&
           std::isfinite(rect.height);
}

void visit(const Layer& layer, const Rect& frame, bool flipped, double time,
           LayerVisitor& visitor) {
    const double opacity = std::min(layer.opacityAt(time), 1.0);
    // Written so that a NaN ends up here as well.
    if (!(opacity > 0) || !isFinite(frame))
        return;
    const PresentedLayer presented{layer, frame, opacity};
    visitor.enter(presented);
    const bool downwards = flipped != layer.style().geometryFlipped;
    for (const auto& child : layer.children()) {
        const Rect inParent = child->frameAt(time);
        const double y = downwards ? frame.maxY() - inParent.maxY() : frame.y + inParent.y;
        visit(*child, {frame.x + inParent.x, y, inParent.width, inParent.height}, downwards, time,
              visitor);
    }
    visitor.leave(presented);
}

} // namespace

void visitLayers(const Layer& root, double time, LayerVisitor& visitor) {
    visit(root, root.frameAt(time), false, time, visitor);
}

} // namespace lentora
