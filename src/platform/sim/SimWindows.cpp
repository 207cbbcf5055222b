#include "platform/sim/SimWindows.h"

#include "capture/Geometry.h"

#include <algorithm>

namespace lentora::sim {

std::optional<Screen> SimDisplays::mainScreen() const {
    if (!state_.frontmost || !state_.frontmost->focused)
        return std::nullopt;
    const auto focused = std::ranges::find(state_.windows, *state_.frontmost->focused, &Window::id);
    if (focused == state_.windows.end())
        return std::nullopt;
    const Point center = Geometry(*this).flipped(focused->bounds.center());
    for (const Screen& screen : state_.displays) {
        if (screen.frame.contains(center))
            return screen;
    }
    return std::nullopt;
}

std::optional<std::vector<WindowListEntry>> SimWindowList::onScreenWindows() const {
    contracts_.requireRole(ThreadRole::background, "WindowList::onScreenWindows");
    std::vector<WindowListEntry> entries;
    for (const Window& window : state_.windows) {
        if (!window.listed)
            continue;
        entries.push_back({.number = window.id,
                           .ownerPid = window.pid,
                           .layer = window.layer,
                           .bounds = window.bounds,
                           .alpha = window.alpha,
                           .ownerName = window.owner});
    }
    return entries;
}

std::optional<int> SimApplications::frontmostPid() const {
    if (!state_.frontmost)
        return std::nullopt;
    return state_.frontmost->pid;
}

std::optional<std::string> SimApplications::bundleIdentifier(int pid) const {
    for (const Window& window : state_.windows) {
        if (window.pid == pid && window.bundle)
            return window.bundle;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> SimFocusedWindows::focusedWindow(int pid) const {
    contracts_.requireRole(ThreadRole::background, "FocusedWindows::focusedWindow");
    if (!state_.permissions.accessibility || !state_.frontmost || state_.frontmost->pid != pid)
        return std::nullopt;
    return state_.frontmost->focused;
}

const GrantedPermissions& SimPermissions::granted() const {
    contracts_.requireRole(ThreadRole::main, "Permissions");
    return state_.permissions;
}

} // namespace lentora::sim
