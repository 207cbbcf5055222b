// Single pictures of a part of the screen.
#pragma once

#include "platform/CaptureStreams.h"
#include "support/Picture.h"

#include <functional>
#include <optional>

namespace lentora {

class Screenshots {
public:
    /// Gets the picture, or nothing when the service refuses or fails.
    using Answer = std::function<void(std::optional<Picture>)>;

    virtual ~Screenshots() = default;

    /// Takes a picture of the configuration's source rectangle as it is now, without the windows
    /// that the filter leaves out, scaled to `width` x `height` pixels. What is seen of a
    /// rectangle outside of the display is not defined. The queue depth and the frame interval
    /// mean nothing here. Any thread. `answer` is called once, on a thread of the service's; it is
    /// dropped uncalled when the service ends first.
    virtual void capture(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                         Answer answer) = 0;
};

} // namespace lentora
