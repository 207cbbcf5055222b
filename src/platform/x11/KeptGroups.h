// Groups of layers that were drawn once and look the same in the next drawing.
#pragma once

#include "platform/x11/PresentedTree.h"
#include "platform/x11/ServerPicture.h"

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

namespace lentora::x11 {

/// A translucent group is put together by itself and then blended with what is below it. What is
/// below a card changes with every frame, the card hardly ever. Main thread.
class KeptGroups {
public:
    /// False where a frame is in the group: that changes itself.
    static bool isWorthKeeping(const PresentedTree& tree, std::size_t group);

    /// The picture that was kept of the group that begins at `group`. Null where none was, or where
    /// it would look different now; its opacity as a whole and where the panel is do not matter.
    const ServerPicture* find(const PresentedTree& tree, std::size_t group) const;

    /// Keeps what the group looks like now.
    void keep(const PresentedTree& tree, std::size_t group, std::unique_ptr<ServerPicture> picture);

    /// Forgets groups that are not in `tree`, or are none there.
    void keepOnly(const PresentedTree& tree);
    void clear() { groups_.clear(); }

private:
    struct Group {
        std::vector<PresentedLayerPixels> layers;
        std::unique_ptr<ServerPicture> picture;
    };

    std::map<const Layer*, Group> groups_;
};

} // namespace lentora::x11
