// Streams of frames: the region of a display, without the windows that are to be left out.
#pragma once

#include "platform/ShareableContent.h"
#include "support/Rect.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lentora {

/// The pixels of a frame, by reference: who shows the frame shares it, nobody copies it. It stays
/// as it is for as long as somebody holds it. Each platform has its own; only its presentation
/// knows what is inside. May be let go of on any thread.
class Surface {
public:
    virtual ~Surface() = default;

    /// In pixels.
    virtual int width() const = 0;
    virtual int height() const = 0;
};

enum class PixelFormat { bgra8 };

/// How many pixels the picture is made from: as few as the display's points, or all there are.
enum class CaptureResolution { automatic = 0, best = 1, nominal = 2 };

struct CaptureConfiguration {
    /// The size of every frame, in pixels.
    int width = 2;
    int height = 2;
    /// What is captured, in points, relative to the display's top-left corner, y down.
    Rect sourceRect;
    /// The source rectangle fills the frame.
    bool scalesToFit = true;
    bool showsCursor = false;
    PixelFormat pixelFormat = PixelFormat::bgra8;
    /// Frames that may be in use at once.
    int queueDepth = 6;
    /// Seconds that lie between two frames at least.
    double minimumFrameInterval = 1.0 / 60;
    CaptureResolution captureResolution = CaptureResolution::best;
};

/// Which of a display's windows are in the picture.
struct CaptureFilter {
    ShareableDisplay display;
    /// When present, only these applications' windows are; else everything on the display.
    std::optional<std::vector<ShareableApplication>> includingApplications;
    /// Left out in any case.
    std::vector<ShareableWindow> excludedWindows;
};

/// How a sample came to be. The numbers are the capture service's own.
enum class SampleStatus {
    complete = 0,
    idle = 1,
    blank = 2,
    suspended = 3,
    started = 4,
    stopped = 5
};

struct CaptureSample {
    /// Absent where the service did not say.
    std::optional<SampleStatus> status;
    /// In pixels.
    int width = 0;
    int height = 0;
    /// May be absent.
    std::shared_ptr<const Surface> surface;
};

/// Who gets a stream's samples.
class CaptureOutput {
public:
    virtual ~CaptureOutput() = default;

    /// Called on the stream's own serial queue ("lentora.capture.samples"). Must return quickly.
    virtual void didOutputSample(const CaptureSample& sample) = 0;
};

/// One stream. Letting go of a stream that runs is a mistake: stop it first.
class CaptureStream {
public:
    /// Nothing on success, else what went wrong, for the log.
    using Done = std::function<void(std::optional<std::string> error)>;

    virtual ~CaptureStream() = default;

    /// Any thread; once. `done` is called once, on a thread of the service's; the first sample may
    /// come before. A window that vanishes while the stream runs is no error: the picture goes on
    /// without it.
    virtual void start(Done done) = 0;

    /// Any thread; once, after a start that went well. Samples may come until `done` is called,
    /// but not after. A stream that cannot be stopped properly is over all the same.
    virtual void stop(Done done) = 0;
};

/// Makes streams.
class CaptureStreams {
public:
    virtual ~CaptureStreams() = default;

    struct Made {
        /// Null on failure.
        std::shared_ptr<CaptureStream> stream;
        /// What went wrong, for the log.
        std::string error;
    };

    /// A stream that is not started yet. Samples go to `output` for as long as it exists. Any
    /// thread.
    virtual Made make(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                      std::weak_ptr<CaptureOutput> output) = 0;
};

} // namespace lentora
