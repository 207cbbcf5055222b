#include "platform/x11/X11WindowServices.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace lentora::x11 {

namespace {

std::optional<std::string> unlessEmpty(std::string text) {
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

ShareableApplication applicationOf(const DesktopWindow& window, AppIdentities& identities) {
    return {.pid = window.pid, .name = identities.of(window.instanceName, window.className).name};
}

std::shared_ptr<const ShareableContent> contentOf(const DesktopSnapshot& snapshot,
                                                  ShareableContentSource::Request request,
                                                  AppIdentities& identities) {
    identities.refresh();
    auto content = std::make_shared<ShareableContent>();
    content->displays = shareableDisplaysOf(snapshot.layout);
    for (const DesktopWindow& window : snapshot.windows) {
        if ((window.isDesktop && request.excludingDesktopWindows) ||
            (!window.isOnScreen && request.onScreenWindowsOnly))
            continue;
        ShareableApplication application = applicationOf(window, identities);
        // Windows without a name may belong to an application whose others have one.
        const auto known =
            std::ranges::find(content->applications, window.pid, &ShareableApplication::pid);
        if (known == content->applications.end())
            content->applications.push_back(application);
        else if (known->name.empty())
            known->name = application.name;
        content->windows.push_back(
            {.windowID = window.id,
             .generation = window.generation,
             .frame = window.bounds,
             .title = unlessEmpty(window.title),
             .owningApplication =
                 application.name.empty() ? std::nullopt : std::optional(std::move(application))});
    }
    return content;
}

} // namespace

std::optional<std::vector<WindowListEntry>> X11WindowList::onScreenWindows() const {
    const auto snapshot = desktop_.current();
    if (!snapshot)
        return std::nullopt;
    identities_.refresh();
    std::vector<WindowListEntry> entries;
    for (const DesktopWindow& window : snapshot->windows) {
        if (!window.isOnScreen || window.isDesktop)
            continue;
        entries.push_back(
            {.number = window.id,
             .ownerPid = window.pid,
             .layer = window.layer,
             .bounds = window.bounds,
             .alpha = window.alpha,
             .ownerName = unlessEmpty(identities_.of(window.instanceName, window.className).name)});
    }
    return entries;
}

int X11Applications::ownPid() const {
    return ::getpid();
}

std::optional<int> X11Applications::frontmostPid() const {
    const auto snapshot = desktop_.current();
    if (!snapshot || !snapshot->focusedWindow)
        return std::nullopt;
    const DesktopWindow* const window = snapshot->find(*snapshot->focusedWindow);
    return window == nullptr ? std::nullopt : std::optional(window->pid);
}

std::optional<std::string> X11Applications::bundleIdentifier(int pid) const {
    // Whoever asks has the number from a snapshot, so the last one mostly knows it.
    for (const auto& snapshot : {desktop_.last(), desktop_.current()}) {
        if (!snapshot)
            continue;
        // Some of its windows may have a class of their own choice.
        std::optional<std::string> identifier;
        for (const DesktopWindow& window : snapshot->windows) {
            if (window.pid != pid)
                continue;
            AppIdentity identity = identities_.of(window.instanceName, window.className);
            if (identity.isKnown)
                return std::move(identity.identifier);
            if (!identifier && !identity.identifier.empty())
                identifier = std::move(identity.identifier);
        }
        if (identifier)
            return identifier;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> X11FocusedWindows::focusedWindow(int pid) const {
    const auto snapshot = desktop_.current();
    if (!snapshot || !snapshot->focusedWindow)
        return std::nullopt;
    const DesktopWindow* const window = snapshot->find(*snapshot->focusedWindow);
    return window != nullptr && window->pid == pid ? std::optional(window->id) : std::nullopt;
}

void X11ShareableContent::fetch(Request request, Answer answer) {
    desktop_.fetch([request, answer = std::move(answer),
                    &identities = identities_](const X11Desktop::Snapshot& snapshot) {
        answer(snapshot ? contentOf(*snapshot, request, identities) : nullptr);
    });
}

std::vector<Screen> X11Displays::screens() const {
    return screensOf(desktop_.last()->layout);
}

std::optional<Screen> X11Displays::mainScreen() const {
    const auto snapshot = desktop_.last();
    const DesktopWindow* const window =
        snapshot->focusedWindow ? snapshot->find(*snapshot->focusedWindow) : nullptr;
    if (window == nullptr)
        return std::nullopt;
    const auto displays = shareableDisplaysOf(snapshot->layout);
    for (std::size_t i = 0; i < displays.size(); ++i) {
        if (displays[i].frame.contains(window->bounds.center()))
            return screensOf(snapshot->layout)[i];
    }
    return std::nullopt;
}

} // namespace lentora::x11
