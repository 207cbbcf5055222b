#include "capture/WindowTarget.h"

#include "capture/Geometry.h"
#include "capture/WindowChoice.h"

#include <utility>

namespace lentora {

namespace {

constexpr std::string_view category = "target";

// Ages in seconds. A snapshot is fetched ahead again a little before it is too old for targeting.
constexpr double freshForPrewarm = 0.4;
constexpr double usableForTargeting = 0.5;

} // namespace

std::shared_ptr<WindowTarget> WindowTarget::create(Services services,
                                                   IndependentApps independentApps) {
    return std::shared_ptr<WindowTarget>(new WindowTarget(services, std::move(independentApps)));
}

WindowTarget::WindowTarget(Services services, IndependentApps independentApps)
    : services_(services), independentApps_(std::move(independentApps)) {}

void WindowTarget::prewarm() {
    if (!services_.permissions.screenRecording())
        return;
    {
        const std::lock_guard lock(cacheLock_);
        if (prewarmInFlight_ || hasContentYoungerThan(freshForPrewarm))
            return;
        prewarmInFlight_ = true;
    }
    startDetached(prefetch(shared_from_this()));
}

Task<WindowTarget::Result> WindowTarget::windowUnderCursor() {
    return find(shared_from_this());
}

Task<void> WindowTarget::prefetch(std::shared_ptr<WindowTarget> self) {
    co_await continueOn(self->services_.executor);
    Content content = co_await self->fetch();
    const std::lock_guard lock(self->cacheLock_);
    if (content)
        self->store(std::move(content));
    self->prewarmInFlight_ = false;
}

Task<WindowTarget::Result> WindowTarget::find(std::shared_ptr<WindowTarget> self) {
    co_await continueOn(self->services_.executor);
    const Content content = co_await self->shareableContent();
    if (!content) {
        self->services_.log.log(category,
                                "SCShareableContent failed (Screen Recording permission?)");
        co_return WindowTargetError::noWindow;
    }
    co_return self->choose(*content);
}

Task<WindowTarget::Content> WindowTarget::shareableContent() {
    {
        const std::lock_guard lock(cacheLock_);
        if (hasContentYoungerThan(usableForTargeting))
            co_return cachedContent_;
    }
    Content content = co_await fetch();
    if (content) {
        const std::lock_guard lock(cacheLock_);
        store(content);
    }
    co_return content;
}

// Goes on on the executor.
Task<WindowTarget::Content> WindowTarget::fetch() {
    co_return co_await answerOf<Content>(
        services_.executor, [this](std::function<void(Content)> answer) {
            services_.shareableContent.fetch(
                {.excludingDesktopWindows = true, .onScreenWindowsOnly = true}, std::move(answer));
        });
}

WindowTarget::Result WindowTarget::choose(const ShareableContent& content) const {
    auto entries = services_.windowList.onScreenWindows();
    if (!entries)
        return WindowTargetError::noWindow;
    const std::vector<WInfo> windows = windowInfos(std::move(*entries));
    const Geometry geometry(services_.displays);
    const Point pointer = services_.pointer.location();
    const Rect screen = geometry.screenForCocoaPoint(pointer).frame;
    WindowChoice choice = chooseWindow({
        .windows = windows,
        .content = content,
        .pointer = geometry.flipped(pointer),
        .screen = {screen.width, screen.height},
        .focusedWindow = frontmostFocusedWindowID(),
        .isIndependent =
            [this](int pid) {
                const auto identifier = services_.applications.bundleIdentifier(pid);
                return identifier && independentApps_.contains(*identifier);
            },
    });
    for (const std::string& message : choice.log)
        services_.log.log(category, message);
    return std::move(choice.result);
}

std::optional<std::uint32_t> WindowTarget::frontmostFocusedWindowID() const {
    const std::optional<int> frontmost = services_.applications.frontmostPid();
    if (!frontmost || *frontmost == services_.applications.ownPid())
        return std::nullopt;
    const auto window = services_.focusedWindows.focusedWindow(*frontmost);
    return window == 0U ? std::nullopt : window;
}

bool WindowTarget::hasContentYoungerThan(double seconds) const {
    return cachedContent_ && services_.clock.now() - cachedAt_ < seconds;
}

void WindowTarget::store(Content content) {
    cachedContent_ = std::move(content);
    cachedAt_ = services_.clock.now();
}

} // namespace lentora
