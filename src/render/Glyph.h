// The picture on the cursor badge, drawn by the program itself so that it is sharp at any scale
// and looks the same on every desktop.
#pragma once

#include "support/Picture.h"

#include <memory>

namespace lentora {

/// A magnifying glass in dark grey on nothing: a ring at the top left and a handle that runs to
/// the bottom right. `size` is the picture's width and height in pixels. Null for a size that is
/// not in 1...4096.
std::shared_ptr<const Picture> magnifierGlyphImage(int size);

} // namespace lentora
