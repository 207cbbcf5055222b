#include "platform/x11/WindowTracker.h"

#include <algorithm>
#include <iterator>

namespace lentora::x11 {

namespace {

// Extents that leave nothing of the window are none.
PixelRect without(const PixelRect& rect, const Extents& extents) {
    const PixelRect rest{rect.x + extents.left, rect.y + extents.top,
                         rect.width - extents.left - extents.right,
                         rect.height - extents.top - extents.bottom};
    return rest.isEmpty() ? rect : rest;
}

PixelRect with(const PixelRect& rect, const Extents& extents) {
    return {rect.x - extents.left, rect.y - extents.top, rect.width + extents.left + extents.right,
            rect.height + extents.top + extents.bottom};
}

} // namespace

PixelRect TrackedWindow::outerRect() const {
    const PixelRect& inner = placement.geometry;
    return {inner.x, inner.y, inner.width + 2 * placement.border,
            inner.height + 2 * placement.border};
}

PixelRect TrackedWindow::visibleRect() const {
    const PixelRect outer = outerRect();
    if (!isFramed())
        return without(outer, properties.shadow);
    PixelRect inner = clientGeometry;
    inner.x += outer.x;
    inner.y += outer.y;
    const bool drawsItself = properties.shadow != Extents{};
    // Without a word about its edges, all of the frame counts.
    if (!drawsItself && properties.frame == Extents{})
        return outer;
    const PixelRect visible = intersection(
        drawsItself ? without(inner, properties.shadow) : with(inner, properties.frame), outer);
    return visible.isEmpty() ? outer : visible;
}

// The stack

void WindowTracker::start(std::span<const WindowId> children) {
    stack_.clear();
    positions_.clear();
    topLevels_.clear();
    for (const WindowId id : children) {
        TrackedWindow& window = add(id);
        window.inTree = true;
        // Until its attributes are read.
        window.mapped = true;
    }
}

TrackedWindow& WindowTracker::add(WindowId id) {
    remove(id);
    TrackedWindow window;
    window.id = id;
    window.generation = ++lastGeneration_;
    stack_.push_back(std::move(window));
    positions_[id] = std::prev(stack_.end());
    return stack_.back();
}

void WindowTracker::remove(WindowId id) {
    Position* const at = position(id);
    if (at == nullptr)
        return;
    forgetClient(**at);
    stack_.erase(*at);
    positions_.erase(id);
}

WindowTracker::Position* WindowTracker::position(WindowId id) {
    const auto found = positions_.find(id);
    return found == positions_.end() ? nullptr : &found->second;
}

TrackedWindow* WindowTracker::current(WindowId id, std::uint64_t generation) {
    Position* const at = position(id);
    return at != nullptr && (*at)->generation == generation ? &**at : nullptr;
}

const TrackedWindow* WindowTracker::find(WindowId id) const {
    const auto found = positions_.find(id);
    return found == positions_.end() ? nullptr : &*found->second;
}

const TrackedWindow* WindowTracker::ofClient(WindowId client) const {
    const auto framed = topLevels_.find(client);
    return find(framed == topLevels_.end() ? client : framed->second);
}

void WindowTracker::created(WindowId id, const Placement& placement, bool overrideRedirect) {
    TrackedWindow& window = add(id);
    window.placement = placement;
    window.overrideRedirect = overrideRedirect;
}

void WindowTracker::destroyed(WindowId id) {
    remove(id);
}

void WindowTracker::mapped(WindowId id) {
    if (Position* const at = position(id)) {
        TrackedWindow& window = **at;
        window.mapped = true;
        // A shape may have been given to it while nobody saw it.
        window.stale |= aspect::attributes;
    }
}

void WindowTracker::unmapped(WindowId id) {
    if (Position* const at = position(id))
        (*at)->mapped = false;
}

void WindowTracker::configured(WindowId id, const Placement& placement, bool overrideRedirect,
                               WindowId sibling) {
    Position* const at = position(id);
    if (at == nullptr)
        return;
    TrackedWindow& window = **at;
    const PixelRect& old = window.placement.geometry;
    const bool resized = old.width != placement.geometry.width ||
                         old.height != placement.geometry.height ||
                         window.placement.border != placement.border;
    // The frame's parts move when its size changes.
    if (resized && window.isFramed())
        window.stale |= aspect::clientGeometry;
    window.placement = placement;
    window.overrideRedirect = overrideRedirect;
    if (sibling == noWindow) {
        stack_.splice(stack_.begin(), stack_, *at);
    } else if (Position* const below = position(sibling); below != nullptr && *below != *at) {
        stack_.splice(std::next(*below), stack_, *at);
    }
}

void WindowTracker::moved(WindowId id, int x, int y) {
    if (Position* const at = position(id)) {
        (*at)->placement.geometry.x = x;
        (*at)->placement.geometry.y = y;
    }
}

void WindowTracker::circulated(WindowId id, bool toTop) {
    if (Position* const at = position(id))
        stack_.splice(toTop ? stack_.end() : stack_.begin(), stack_, *at);
}

void WindowTracker::adopted(WindowId id, bool overrideRedirect) {
    clientGone(id);
    TrackedWindow& window = add(id);
    window.overrideRedirect = overrideRedirect;
}

void WindowTracker::reparented(WindowId id, WindowId parent) {
    remove(id);
    // Icons that move into a panel are no clients of it.
    if (managed_.contains(parent))
        return;
    Position* const frame = position(parent);
    if (frame != nullptr && (managed_.contains(id) || hasUnlistedFrames_))
        setClient(**frame, id);
    else
        searchAgain();
}

// Clients

void WindowTracker::setClient(TrackedWindow& window, WindowId client) {
    forgetClient(window);
    window.client = client;
    window.properties = {};
    window.stale &= ~aspect::client;
    window.stale |= aspect::ofClient;
    if (window.isFramed())
        topLevels_[client] = window.id;
    else
        window.stale &= ~aspect::clientGeometry;
}

void WindowTracker::forgetClient(TrackedWindow& window) {
    if (window.isFramed()) {
        const auto known = topLevels_.find(window.client);
        if (known != topLevels_.end() && known->second == window.id)
            topLevels_.erase(known);
    }
    window.client = noWindow;
    window.clientGeometry = {};
}

// Every window that seemed to stand for itself may turn out to be a frame.
void WindowTracker::searchAgain() {
    for (TrackedWindow& window : stack_) {
        if (!window.isFramed() && !managed_.contains(window.id))
            window.stale |= aspect::client;
    }
}

void WindowTracker::clientConfigured(WindowId client) {
    const auto found = topLevels_.find(client);
    if (found == topLevels_.end())
        return;
    if (Position* const at = position(found->second))
        (*at)->stale |= aspect::clientGeometry;
}

void WindowTracker::clientGone(WindowId client) {
    const auto found = topLevels_.find(client);
    if (found == topLevels_.end())
        return;
    if (Position* const at = position(found->second)) {
        forgetClient(**at);
        (*at)->properties = {};
        (*at)->stale |= aspect::client | aspect::ofClient;
    }
}

void WindowTracker::propertyChanged(WindowId window, Aspects aspects) {
    const auto framed = topLevels_.find(window);
    if (Position* const at = position(framed == topLevels_.end() ? window : framed->second))
        (*at)->stale |= aspects;
}

void WindowTracker::setManaged(std::optional<std::span<const WindowId>> clients) {
    managed_.clear();
    if (clients)
        managed_.insert(clients->begin(), clients->end());
    if (hasUnlistedFrames_ || !missingClients().empty())
        searchAgain();
}

std::vector<WindowId> WindowTracker::missingClients() const {
    std::vector<WindowId> missing;
    std::ranges::copy_if(managed_, std::back_inserter(missing), [&](WindowId client) {
        return !positions_.contains(client) && !topLevels_.contains(client);
    });
    return missing;
}

// What was read

void WindowTracker::attributesRead(WindowId id, std::uint64_t generation,
                                   const std::optional<Attributes>& attributes) {
    TrackedWindow* const window = current(id, generation);
    if (window == nullptr)
        return;
    window->stale &= ~aspect::attributes;
    window->drawable = attributes && attributes->inputOutput;
    if (!attributes)
        return;
    window->depth = attributes->depth;
    window->shaped = attributes->shaped;
    window->mapped = attributes->mapped;
    window->overrideRedirect = attributes->overrideRedirect;
    window->placement = attributes->placement;
}

void WindowTracker::treeChecked(WindowId id, std::uint64_t generation, bool shown) {
    if (TrackedWindow* const window = current(id, generation)) {
        window->inTree = shown;
        window->drawable = window->drawable && shown;
    }
}

void WindowTracker::clientFound(WindowId id, std::uint64_t generation, WindowId client) {
    TrackedWindow* const window = current(id, generation);
    if (window == nullptr)
        return;
    if (window->client == client)
        window->stale &= ~aspect::client;
    else
        setClient(*window, client);
}

TrackedWindow* WindowTracker::reading(WindowId id, std::uint64_t generation, Aspects aspects) {
    TrackedWindow* const window = current(id, generation);
    if (window != nullptr)
        window->stale &= ~aspects;
    return window;
}

} // namespace lentora::x11
