// Walking a tree of layers in the order of drawing, with what is seen at a time.
#pragma once

#include "render/Layer.h"

namespace lentora {

struct PresentedLayer {
    const Layer& layer;
    /// In the coordinates that the root's own frame is in: the panel's.
    Rect frame;
    /// Above 0, at most 1.
    double opacity = 1;
};

/// Draws, or looks.
class LayerVisitor {
public:
    virtual ~LayerVisitor() = default;

    /// Before the children: shadow, background and contents are drawn now. Until the layer is
    /// left, everything is drawn with its opacity, as one (at half opacity, a child hides what is
    /// below it), and where it masks, only inside of it.
    virtual void enter(const PresentedLayer& presented) = 0;

    /// After the children: the border is drawn now.
    virtual void leave(const PresentedLayer& presented) = 0;
};

/// Visits the layers that can be seen at `time`, each with its children, from the lowest to the
/// topmost. Left out with their children: layers of opacity 0, and those whose frame is not made
/// of finite numbers.
void visitLayers(const Layer& root, double time, LayerVisitor& visitor);

} // namespace lentora
