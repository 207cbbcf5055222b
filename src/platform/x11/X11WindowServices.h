// The platform's questions about windows, applications and displays, answered from an X11Desktop.
// Each is on any thread; what they share outlives them.
#pragma once

#include "platform/Applications.h"
#include "platform/Displays.h"
#include "platform/ShareableContent.h"
#include "platform/WindowList.h"
#include "platform/x11/AppIdentities.h"
#include "platform/x11/X11Desktop.h"

#include <optional>
#include <string>
#include <vector>

namespace lentora::x11 {

class X11WindowList final : public WindowList {
public:
    X11WindowList(X11Desktop& desktop, AppIdentities& identities)
        : desktop_(desktop), identities_(identities) {}

    std::optional<std::vector<WindowListEntry>> onScreenWindows() const override;

private:
    X11Desktop& desktop_;
    AppIdentities& identities_;
};

class X11Applications final : public Applications {
public:
    X11Applications(X11Desktop& desktop, AppIdentities& identities)
        : desktop_(desktop), identities_(identities) {}

    int ownPid() const override;
    /// The process of the focused window.
    std::optional<int> frontmostPid() const override;
    /// By the front-most of the process's windows that says what it belongs to.
    std::optional<std::string> bundleIdentifier(int pid) const override;

private:
    X11Desktop& desktop_;
    AppIdentities& identities_;
};

/// X knows one focused window, not one for every application.
class X11FocusedWindows final : public FocusedWindows {
public:
    explicit X11FocusedWindows(X11Desktop& desktop) : desktop_(desktop) {}

    std::optional<std::uint32_t> focusedWindow(int pid) const override;

private:
    X11Desktop& desktop_;
};

/// Every window that has pixels can be captured. Windows that are not mapped have none, so they are
/// never part of it.
class X11ShareableContent final : public ShareableContentSource {
public:
    X11ShareableContent(X11Desktop& desktop, AppIdentities& identities)
        : desktop_(desktop), identities_(identities) {}

    void fetch(Request request, Answer answer) override;

private:
    X11Desktop& desktop_;
    AppIdentities& identities_;
};

/// Asks nobody: the desktop is told of changes.
class X11Displays final : public Displays {
public:
    explicit X11Displays(const X11Desktop& desktop) : desktop_(desktop) {}

    std::vector<Screen> screens() const override;
    std::optional<Screen> mainScreen() const override;

private:
    const X11Desktop& desktop_;
};

} // namespace lentora::x11
