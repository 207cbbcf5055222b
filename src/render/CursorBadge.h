// The round badge with a magnifying glass that stays beside the pointer while a lens is open or
// about to be.
#pragma once

#include "render/Layer.h"

#include <memory>

namespace lentora {

/// Main thread.
class CursorBadge {
public:
    /// The diameter, in points.
    static constexpr double badgeSize = 32;

    /// Hidden.
    explicit CursorBadge(LayerTransactions& transactions);

    /// Fades the badge in or out. `screenScale` is the display's pixels per point.
    void setCursorBadge(bool visible, double screenScale);

    /// Its position is its centre.
    const std::shared_ptr<Layer>& cursorBadge() const { return cursorBadge_; }
    /// Lies in the badge.
    const std::shared_ptr<Layer>& cursorGlyph() const { return cursorGlyph_; }

private:
    void setContentsScale(double screenScale);

    LayerTransactions& transactions_;
    std::shared_ptr<Layer> cursorBadge_;
    std::shared_ptr<Layer> cursorGlyph_;
};

} // namespace lentora
