// Capture streams on an X server.
//
// Windows are redirected, so that the server keeps the pixels of each whether or not others cover
// it. A stream draws its region out of those that are not left out, on the server, and hands out
// references to the result. The server says when something was drawn; until then nothing is done.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/x11/ScreenSpace.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lentora::x11 {

struct X11CaptureStreamsOptions {
    /// ":0"; empty for $DISPLAY.
    std::string display = {};
    /// Where points lie on the X screen; asked for each new stream. Any thread. Without this, a
    /// point is a pixel.
    std::function<ScreenSpace()> space = {};
    /// The generation that a window has now, as the one who lists windows counts them; nothing
    /// where it is not known. Called on the stream's thread at its start. Without this, a number
    /// means the window that has it when the stream starts.
    std::function<std::optional<std::uint64_t>(std::uint32_t windowID)> generationOf = {};
    /// Called on the stream's thread when the server goes away while the stream runs.
    std::function<void()> serverLost = {};
};

/// Each stream has a connection and a thread ("lentora.capture") of its own; its samples come on
/// that thread. Surfaces are `X11Surface`. The pointer is never in the picture, and the picture
/// always fills the frame. Two frames lie half the minimum interval apart when the first was late;
/// on average they keep it.
class X11CaptureStreams final : public CaptureStreams {
public:
    explicit X11CaptureStreams(X11CaptureStreamsOptions options);

    /// Connects to the server. Blocks for two round trips.
    Made make(const CaptureFilter& filter, const CaptureConfiguration& configuration,
              std::weak_ptr<CaptureOutput> output) override;

private:
    const X11CaptureStreamsOptions options_;
};

} // namespace lentora::x11
