#include "platform/sim/SimScreenshots.h"

#include "platform/sim/DesktopPicture.h"

#include <optional>
#include <utility>

namespace lentora::sim {

void SimScreenshots::capture(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                             Answer answer) {
    std::optional<Picture> picture;
    if (state_.permissions.screenRecording)
        picture = capturedSurface(state_, filter, configuration)->picture();
    timeline_.schedule(
        0, ThreadRole::service,
        [answer = std::move(answer), picture = std::move(picture)] { answer(picture); });
}

} // namespace lentora::sim
