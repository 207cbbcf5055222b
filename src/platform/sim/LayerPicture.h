// Draws a tree of layers the way a user would see it. It is the plainest presenter there is: what
// it draws, the presenters of real window systems are to draw as well.
#pragma once

#include "render/Layer.h"
#include "support/Picture.h"
#include "support/Rect.h"

namespace lentora::sim {

/// Draws what is seen of `root` at `time` onto `picture`, which is the part `region` of the panel
/// (points, y up, origin at the panel's bottom-left corner) at the number of pixels it has. Text
/// is drawn with a block font.
void drawLayers(const Layer& root, double time, const Rect& region, Picture& picture);

} // namespace lentora::sim
