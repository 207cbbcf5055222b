// The desktop at one moment, in points: what the answers to other threads are taken from.
#pragma once

#include "platform/x11/ScreenLayout.h"
#include "platform/x11/WindowTracker.h"
#include "support/Rect.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lentora::x11 {

struct DesktopWindow {
    /// A child of the root: with a window manager, mostly the frame around the client.
    WindowId id = noWindow;
    std::uint64_t generation = 0;
    /// CG space: what the user sees as the window.
    Rect bounds;
    int layer = 0;
    double alpha = 1;
    /// Below 0 for a program on another machine: a number that its windows have in common.
    int pid = 0;
    std::string instanceName;
    std::string className;
    std::string title;
    /// On the virtual desktop that is shown, not minimised, and not beside the screen.
    bool isOnScreen = false;
    /// Its programs draw the desktop itself with it.
    bool isDesktop = false;
};

/// Does not change.
struct DesktopSnapshot {
    /// The windows that are mapped, front-most first.
    std::vector<DesktopWindow> windows;
    /// The child of the root that the user works in.
    std::optional<WindowId> focusedWindow;
    ScreenLayout layout;

    const DesktopWindow* find(WindowId id) const;
};

/// What layers depend on beside the window.
struct LayerSurroundings {
    /// The process of this program.
    int ownPid = 0;
    std::vector<Monitor> monitors = {};
};

/// How high the window floats, in the numbers of `windowLayer`.
///
/// - Windows that the user works in are normal, whether the manager keeps them below others or
///   they fill the screen: what fills it is no overlay, even when it is also kept above.
/// - Windows kept above, toolbars and palettes float. A large one that floats cannot be meant.
/// - Docks, and menus, tooltips and notifications, have layers of their own.
/// - Windows that the manager does not touch and that say no type are mostly menus of old
///   programs. One that hides a whole monitor is what the user looks at: normal.
/// - Those of this program that are no menus are its panels, such as the lens, which nothing
///   floats above.
int layerOf(const TrackedWindow& window, const LayerSurroundings& surroundings);

/// What the snapshot depends on beside the windows.
struct SnapshotContext {
    int ownPid = 0;
    std::optional<std::uint32_t> currentDesktop = {};
    std::optional<WindowId> focusedWindow = {};
    ScreenLayout layout = {};
};

DesktopSnapshot snapshotOf(const WindowTracker& tracker, SnapshotContext context);

} // namespace lentora::x11
