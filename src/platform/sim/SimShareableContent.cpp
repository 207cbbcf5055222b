#include "platform/sim/SimShareableContent.h"

#include "capture/Geometry.h"
#include "platform/sim/SimWindows.h"

#include <cmath>
#include <memory>
#include <utility>

namespace lentora::sim {

namespace {

ShareableContent snapshot(const DesktopState& state) {
    ShareableContent content;
    for (const Window& window : state.windows) {
        if (!window.shareable)
            continue;
        ShareableWindow shared;
        shared.windowID = window.id;
        shared.frame = window.bounds;
        shared.title = window.title;
        if (window.app) {
            shared.owningApplication = {.pid = window.pid, .name = *window.app};
            if (std::ranges::find(content.applications, *shared.owningApplication) ==
                content.applications.end())
                content.applications.push_back(*shared.owningApplication);
        }
        content.windows.push_back(std::move(shared));
    }
    const SimDisplays displays(state);
    const Geometry geometry(displays);
    for (const Screen& screen : state.displays) {
        const auto number = static_cast<std::uint32_t>(content.displays.size() + 1);
        content.displays.push_back({.displayID = number, .frame = geometry.flipped(screen.frame)});
    }
    return content;
}

} // namespace

// There are no windows that a request could leave out.
void SimShareableContent::fetch(Request /*request*/, Answer answer) {
    const double delay = state_.timing.shareableContent;
    std::shared_ptr<const ShareableContent> content;
    if (delay >= 0 && state_.permissions.screenRecording)
        content = std::make_shared<const ShareableContent>(snapshot(state_));
    ++fetchCount_;
    ++unanswered_;
    lastAnswerTime_ = std::max(lastAnswerTime_, timeline_.now() + std::abs(delay));
    timeline_.schedule(std::abs(delay), ThreadRole::service,
                       [this, content = std::move(content), answer = std::move(answer)] {
                           --unanswered_;
                           answer(content);
                       });
}

void SimShareableContent::checkAllAnswered() {
    for (int i = 0; i < unanswered_; ++i)
        contracts_.noteViolation("a request for shareable content was left unanswered");
}

} // namespace lentora::sim
