#include "platform/x11/DesktopSnapshot.h"

#include "platform/WindowList.h"

#include <algorithm>
#include <utility>

namespace lentora::x11 {

namespace {

// Windows with more bits than that have an alpha channel: one may see through them.
constexpr int opaqueDepth = 24;

bool hidesMonitor(const TrackedWindow& window, const std::vector<Monitor>& monitors) {
    if (window.shaped || window.depth > opaqueDepth || window.properties.opacity < 1)
        return false;
    return std::ranges::any_of(monitors, [&](const Monitor& monitor) {
        return window.outerRect().contains(monitor.rect);
    });
}

bool isOnScreen(const TrackedWindow& window, const SnapshotContext& context) {
    const ClientProperties& properties = window.properties;
    if (properties.state.hidden)
        return false;
    if (properties.desktop && context.currentDesktop && *properties.desktop != onAllDesktops &&
        *properties.desktop != *context.currentDesktop)
        return false;
    return std::ranges::any_of(context.layout.monitors, [&](const Monitor& monitor) {
        return !intersection(window.visibleRect(), monitor.rect).isEmpty();
    });
}

} // namespace

const DesktopWindow* DesktopSnapshot::find(WindowId id) const {
    const auto found = std::ranges::find(windows, id, &DesktopWindow::id);
    return found == windows.end() ? nullptr : &*found;
}

int layerOf(const TrackedWindow& window, const LayerSurroundings& surroundings) {
    const ClientProperties& properties = window.properties;
    const WindowState& state = properties.state;
    // Frames are not touched by the manager, for they are its own.
    const bool isUnmanaged = window.overrideRedirect && !window.isFramed();
    const bool isOwn = properties.pid == surroundings.ownPid;
    switch (properties.type) {
    case WindowType::desktop:
        return windowLayer::desktop;
    case WindowType::dock:
        return windowLayer::dock;
    case WindowType::transient:
        return windowLayer::menu;
    case WindowType::utility:
        return windowLayer::floating;
    case WindowType::notification:
        return isUnmanaged && isOwn ? windowLayer::screenSaver : windowLayer::menu;
    case WindowType::unstated:
        if (isUnmanaged && isOwn)
            return windowLayer::screenSaver;
        if (isUnmanaged)
            return hidesMonitor(window, surroundings.monitors) ? windowLayer::normal
                                                               : windowLayer::menu;
        break;
    case WindowType::normal:
        break;
    }
    const bool fills = state.fullscreen || state.maximized;
    return state.above && !fills ? windowLayer::floating : windowLayer::normal;
}

DesktopSnapshot snapshotOf(const WindowTracker& tracker, SnapshotContext context) {
    DesktopSnapshot snapshot;
    const LayerSurroundings surroundings{context.ownPid, context.layout.monitors};
    for (const TrackedWindow& window : tracker.stack()) {
        const ClientProperties& properties = window.properties;
        // One without an owner is not read yet, or was gone when it was to be read.
        if (!window.mapped || !window.drawable || !properties.pid)
            continue;
        snapshot.windows.push_back({.id = window.id,
                                    .generation = window.generation,
                                    .bounds = context.layout.space.toPoints(window.visibleRect()),
                                    .layer = layerOf(window, surroundings),
                                    .alpha = properties.opacity,
                                    .pid = *properties.pid,
                                    .instanceName = properties.instanceName,
                                    .className = properties.className,
                                    .title = properties.title,
                                    .isOnScreen = isOnScreen(window, context),
                                    .isDesktop = properties.type == WindowType::desktop});
    }
    std::ranges::reverse(snapshot.windows);
    snapshot.focusedWindow = context.focusedWindow;
    snapshot.layout = std::move(context.layout);
    return snapshot;
}

} // namespace lentora::x11
