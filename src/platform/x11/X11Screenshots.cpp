#include "platform/x11/X11Screenshots.h"

#include "platform/x11/CaptureServer.h"
#include "platform/x11/CaptureSession.h"
#include "platform/x11/X11Surface.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace lentora::x11 {

namespace {

// A larger picture is not made; this one holds every screen.
constexpr int maxSide = 16384;

// The bits of a colour in a pixel.
struct Channel {
    explicit Channel(std::uint32_t mask) {
        for (; mask != 0 && (mask & 1) == 0; mask >>= 1)
            ++shift;
        largest = mask;
    }

    std::uint8_t of(std::uint32_t pixel) const {
        return largest == 0 ? std::uint8_t{0}
                            : static_cast<std::uint8_t>((pixel >> shift & largest) * 255 / largest);
    }

    unsigned shift = 0;
    std::uint32_t largest = 0;
};

// How the root window's pixels are made up, and so those of every frame.
xcb_visualtype_t rootVisual(const CaptureServer& server) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(server.get()));
    while (screens.rem > 1 && screens.data->root != server.root())
        xcb_screen_next(&screens);
    auto depths = xcb_screen_allowed_depths_iterator(screens.data);
    for (; depths.rem > 0; xcb_depth_next(&depths)) {
        auto visuals = xcb_depth_visuals_iterator(depths.data);
        for (; visuals.rem > 0; xcb_visualtype_next(&visuals)) {
            if (visuals.data->visual_id == screens.data->root_visual)
                return *visuals.data;
        }
    }
    return {};
}

std::optional<Picture> read(const CaptureServer& server, const X11Surface& surface) {
    xcb_connection_t* c = server.get();
    const auto width = static_cast<std::uint16_t>(surface.width());
    const auto height = static_cast<std::uint16_t>(surface.height());
    const XcbPtr<xcb_get_image_reply_t> image(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, surface.pixmap(), 0, 0, width, height, ~0U),
        nullptr));
    const std::size_t pixels = std::size_t{width} * height;
    // All servers that are in use keep such pixels in 32 bits.
    if (!image || static_cast<std::size_t>(xcb_get_image_data_length(image.get())) < 4 * pixels)
        return std::nullopt;
    const bool isLittle = xcb_get_setup(c)->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    const xcb_visualtype_t visual = rootVisual(server);
    const Channel red(visual.red_mask);
    const Channel green(visual.green_mask);
    const Channel blue(visual.blue_mask);
    Picture picture(width, height);
    const std::uint8_t* at = xcb_get_image_data(image.get());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, at += 4) {
            const auto byte = [&](unsigned i) {
                return std::uint32_t{at[isLittle ? i : 3 - i]} << (8 * i);
            };
            const std::uint32_t pixel = byte(0) | byte(1) | byte(2) | byte(3);
            picture.at(x, y) = {red.of(pixel), green.of(pixel), blue.of(pixel), 255};
        }
    }
    return picture;
}

// Takes the first frame and ends the capture.
class FirstFrame final : public CaptureOutput {
public:
    explicit FirstFrame(std::atomic<bool>& stopping) : stopping_(stopping) {}

    void didOutputSample(const CaptureSample& sample) override {
        if (!surface)
            surface = std::dynamic_pointer_cast<const X11Surface>(sample.surface);
        stopping_ = true;
    }

    std::shared_ptr<const X11Surface> surface;

private:
    std::atomic<bool>& stopping_;
};

std::optional<Picture> take(const X11CaptureStreamsOptions& options, const CaptureFilter& filter,
                            CaptureConfiguration configuration) {
    if (configuration.width < 1 || configuration.height < 1 || configuration.width > maxSide ||
        configuration.height > maxSide)
        return std::nullopt;
    std::string error;
    const auto server = CaptureServer::open(options.display, error);
    if (!server)
        return std::nullopt;
    configuration.queueDepth = 1;
    std::atomic<bool> stopping = false;
    const auto frame = std::make_shared<FirstFrame>(stopping);
    {
        CaptureSession session({.server = server,
                                .filter = filter,
                                .configuration = configuration,
                                .space = options.currentSpace(),
                                .generationOf = options.generationOf,
                                .output = frame,
                                .wake = std::make_shared<const posix::WakeEvent>(),
                                .endsWithLostFrame = true});
        session.run(stopping, [] {});
    }
    return frame->surface ? read(*server, *frame->surface) : std::nullopt;
}

} // namespace

X11Screenshots::X11Screenshots(X11CaptureStreamsOptions options, BackgroundExecutor& executor)
    : options_(std::move(options)), executor_(executor) {}

void X11Screenshots::capture(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                             Answer answer) {
    executor_.post([options = options_, filter, configuration, answer = std::move(answer)] {
        answer(take(options, filter, configuration));
    });
}

} // namespace lentora::x11
