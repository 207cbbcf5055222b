#include "platform/x11/X11CaptureStreams.h"

#include "platform/x11/X11CaptureStream.h"

#include <utility>

namespace lentora::x11 {

namespace {

// Of one frame: 256 MB on the server, and a stream takes three at least. 8K screens have half.
constexpr std::int64_t maxFramePixels = std::int64_t{64} << 20;
// What a pixmap can have at most.
constexpr int maxFrameSide = 32767;

} // namespace

X11CaptureStreams::X11CaptureStreams(X11CaptureStreamsOptions options)
    : options_(std::move(options)) {}

CaptureStreams::Made X11CaptureStreams::make(const CaptureFilter& filter,
                                             const CaptureConfiguration& configuration,
                                             std::weak_ptr<CaptureOutput> output) {
    const int width = configuration.width;
    const int height = configuration.height;
    if (width < 1 || height < 1 || width > maxFrameSide || height > maxFrameSide ||
        std::int64_t{width} * height > maxFramePixels) {
        return {nullptr, "no frame can have " + std::to_string(width) + "x" +
                             std::to_string(height) + " pixels"};
    }
    std::string error;
    auto server = CaptureServer::open(options_.display, error);
    if (!server)
        return {nullptr, std::move(error)};
    CaptureSession::Setup setup{.server = std::move(server),
                                .filter = filter,
                                .configuration = configuration,
                                .space = options_.space ? options_.space() : ScreenSpace{},
                                .generationOf = options_.generationOf,
                                .output = std::move(output),
                                .wake = nullptr};
    return {std::make_shared<X11CaptureStream>(std::move(setup), options_.serverLost), {}};
}

} // namespace lentora::x11
