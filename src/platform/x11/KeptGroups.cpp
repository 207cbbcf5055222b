#include "platform/x11/KeptGroups.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

namespace lentora::x11 {

namespace {

std::span<const PresentedLayerPixels> layersOf(const PresentedTree& tree, std::size_t group) {
    return std::span(tree.layers).subspan(group, tree.layers[group].end - group);
}

bool drawsTheSame(const PresentedLayerPixels& a, const PresentedLayerPixels& b) {
    return a.layer == b.layer && a.style == b.style && a.contents == b.contents &&
           a.frame == b.frame && a.shape == b.shape && a.clip == b.clip && a.extent == b.extent;
}

} // namespace

bool KeptGroups::isWorthKeeping(const PresentedTree& tree, std::size_t group) {
    return std::ranges::none_of(layersOf(tree, group),
                                [](const auto& layer) { return layer.surface() != nullptr; });
}

const ServerPicture* KeptGroups::find(const PresentedTree& tree, std::size_t group) const {
    const auto now = layersOf(tree, group);
    const auto found = groups_.find(now.front().layer);
    if (found == groups_.end() || found->second.layers.size() != now.size())
        return nullptr;
    const auto& before = found->second.layers;
    if (!drawsTheSame(before.front(), now.front()))
        return nullptr;
    const bool areTheSame = std::equal(
        std::next(before.begin()), before.end(), std::next(now.begin()),
        [](const auto& a, const auto& b) { return drawsTheSame(a, b) && a.opacity == b.opacity; });
    return areTheSame ? found->second.picture.get() : nullptr;
}

void KeptGroups::keep(const PresentedTree& tree, std::size_t group,
                      std::unique_ptr<ServerPicture> picture) {
    const auto layers = layersOf(tree, group);
    groups_[layers.front().layer] = {{layers.begin(), layers.end()}, std::move(picture)};
}

void KeptGroups::keepOnly(const PresentedTree& tree) {
    std::erase_if(groups_, [&](const auto& entry) {
        const auto layer =
            std::ranges::find(tree.layers, entry.first, &PresentedLayerPixels::layer);
        return layer == tree.layers.end() || layer->opacity == 1 ||
               !isWorthKeeping(tree, static_cast<std::size_t>(layer - tree.layers.begin()));
    });
}

} // namespace lentora::x11
