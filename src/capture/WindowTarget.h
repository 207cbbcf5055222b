// Finds the window that the user means when a lens is to open.
#pragma once

#include "capture/CaptureTarget.h"
#include "capture/IndependentApps.h"
#include "platform/Applications.h"
#include "platform/Clock.h"
#include "platform/Displays.h"
#include "platform/Executor.h"
#include "platform/Permissions.h"
#include "platform/ShareableContent.h"
#include "platform/WindowList.h"
#include "support/Log.h"
#include "support/Task.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>

namespace lentora {

/// Puts two snapshots side by side: the window list, which knows the stacking order, and the
/// shareable content, which knows what can be captured. The second takes tens of milliseconds, so
/// it is fetched ahead and used for half a second. Work under way keeps the object alive.
class WindowTarget : public std::enable_shared_from_this<WindowTarget> {
public:
    /// All of it outlives the work on the executor.
    struct Services {
        ShareableContentSource& shareableContent;
        const WindowList& windowList;
        const Displays& displays;
        const Pointer& pointer;
        const Applications& applications;
        const FocusedWindows& focusedWindows;
        const Permissions& permissions;
        const MediaClock& clock;
        BackgroundExecutor& executor;
        Log& log;
    };

    using Result = std::variant<CaptureTarget, WindowTargetError>;

    /// `independentApps` says which applications' windows are taken as they are.
    static std::shared_ptr<WindowTarget> create(Services services, IndependentApps independentApps);

    /// Fetches the shareable content in the background, unless there is a fresh one, one is being
    /// fetched, or it may not be read. For when a lens is likely to open soon. Main thread.
    void prewarm();

    /// The window under the pointer. Begins, goes on and ends on the background executor, whatever
    /// thread awaits it: `co_await continueOn(...)` leads back. The reason of a choice is in the
    /// log.
    Task<Result> windowUnderCursor();

private:
    using Content = std::shared_ptr<const ShareableContent>;

    WindowTarget(Services services, IndependentApps independentApps);

    // These keep the object alive; what they call does not have to.
    static Task<void> prefetch(std::shared_ptr<WindowTarget> self);
    static Task<Result> find(std::shared_ptr<WindowTarget> self);

    Task<Content> shareableContent();
    Task<Content> fetch();
    Result choose(const ShareableContent& content) const;
    std::optional<std::uint32_t> frontmostFocusedWindowID() const;
    // Both expect the lock to be held.
    bool hasContentYoungerThan(double seconds) const;
    void store(Content content);

    const Services services_;
    const IndependentApps independentApps_;

    // Guards what follows. Never held while a fetch is under way.
    std::mutex cacheLock_;
    Content cachedContent_;
    // When it was stored: seconds of the media clock.
    double cachedAt_ = 0;
    bool prewarmInFlight_ = false;
};

} // namespace lentora
