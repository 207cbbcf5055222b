// Single pictures of a part of an X screen: the first frame of a capture, read back.
#pragma once

#include "platform/Executor.h"
#include "platform/Screenshots.h"
#include "platform/x11/X11CaptureStreams.h"

namespace lentora::x11 {

/// Each picture has a connection of its own, and is taken and answered by work for the executor.
class X11Screenshots final : public Screenshots {
public:
    /// Of the options, who lost the server is not told. `executor` outlives this object.
    X11Screenshots(X11CaptureStreamsOptions options, BackgroundExecutor& executor);

    void capture(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                 Answer answer) override;

private:
    const X11CaptureStreamsOptions options_;
    BackgroundExecutor& executor_;
};

} // namespace lentora::x11
