// The least that a magnifier can be: what bench_lens measures magnifiers against. It waits for a
// pinch with Alt held, shows the middle of one window at 2x over that window, draws again what is
// damaged as soon as it hears of it, and goes when a key is let go. It knows its window beforehand,
// and there is nothing in its lens but pixels.
//
//     bench_bare_lens WINDOW DEPTH
//
// DEPTH 24 draws on the screen; DEPTH 32 into a window with alpha, which the server then puts on
// the screen, as with any lens that fades or has round corners.
#include "platform/x11/PanelServer.h"
#include "platform/x11/XInput.h"

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/shape.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace lentora {
namespace {

namespace xi = x11::xi;

constexpr int zoom = 2;
constexpr double engageScale = 1.03;

struct Box {
    int left, top, right, bottom;
};

template <typename Cookie, typename Reply>
x11::XcbPtr<Reply> answer(xcb_connection_t* c, Cookie cookie,
                          Reply* (*reply)(xcb_connection_t*, Cookie, xcb_generic_error_t**)) {
    return x11::XcbPtr<Reply>(reply(c, cookie, nullptr));
}

class BareLens {
public:
    BareLens(std::shared_ptr<const x11::PanelServer> server, xcb_window_t source, bool hasAlpha)
        : server_(std::move(server)), c_(server_->get()), source_(source) {
        const auto geometry = answer(c_, xcb_get_geometry(c_, source_), xcb_get_geometry_reply);
        if (!geometry)
            return;
        x_ = geometry->x;
        y_ = geometry->y;
        width_ = geometry->width;
        height_ = geometry->height;
        answer(c_, xcb_composite_query_version(c_, 0, 4), xcb_composite_query_version_reply);
        answer(c_, xcb_damage_query_version(c_, 1, 1), xcb_damage_query_version_reply);
        answer(c_, xcb_input_xi_query_version(c_, 2, 4), xcb_input_xi_query_version_reply);
        damageNotify_ = server_->connection().extension(xcb_damage_id)->firstEvent;
        input_ = server_->connection().extension(xcb_input_id)->majorOpcode;
        makeWindow(hasAlpha);
        isReady_ = listen();
    }

    bool isReady() const { return isReady_; }

    void run() {
        while (const x11::XcbPtr<xcb_generic_event_t> event{xcb_wait_for_event(c_)}) {
            damaged_ = {width_, height_, 0, 0};
            handle(*event);
            while (const x11::XcbPtr<xcb_generic_event_t> next{xcb_poll_for_queued_event(c_)})
                handle(*next);
            if (damaged_.left < damaged_.right) {
                xcb_damage_subtract(c_, damage_, XCB_NONE, XCB_NONE);
                draw(damaged_);
            }
            xcb_flush(c_);
        }
    }

private:
    void makeWindow(bool hasAlpha) {
        window_ = xcb_generate_id(c_);
        // No background: nothing but magnified pixels is ever drawn.
        const std::array<std::uint32_t, 4> values{0, 0, 1, server_->colormap()};
        std::uint32_t mask = XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT;
        if (hasAlpha)
            mask |= XCB_CW_COLORMAP;
        xcb_create_window(c_, hasAlpha ? std::uint8_t{32} : std::uint8_t{XCB_COPY_FROM_PARENT},
                          window_, server_->root(), x_, y_, width_, height_, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          hasAlpha ? server_->visual() : XCB_COPY_FROM_PARENT, mask, values.data());
        xcb_shape_rectangles(c_, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                             window_, 0, 0, 0, nullptr);
        target_ = xcb_generate_id(c_);
        xcb_render_create_picture(c_, target_, window_,
                                  hasAlpha ? server_->colorFormat() : server_->rootFormat(), 0,
                                  nullptr);
    }

    bool listen() const {
        const std::uint32_t pinch = xi::maskOf(XCB_INPUT_GESTURE_PINCH_BEGIN) |
                                    xi::maskOf(XCB_INPUT_GESTURE_PINCH_UPDATE) |
                                    xi::maskOf(XCB_INPUT_GESTURE_PINCH_END);
        const std::uint32_t modifiers = XCB_MOD_MASK_1;
        const auto grab = answer(
            c_,
            xcb_input_xi_passive_grab_device(
                c_, XCB_CURRENT_TIME, server_->root(), XCB_NONE, 0, xi::allMasterDevices, 1, 1,
                XCB_INPUT_GRAB_TYPE_GESTURE_PINCH_BEGIN, XCB_INPUT_GRAB_MODE_22_ASYNC,
                XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER, &pinch, &modifiers),
            xcb_input_xi_passive_grab_device_reply);
        struct {
            xcb_input_event_mask_t head;
            std::uint32_t mask;
        } keys{{xi::allMasterDevices, 1}, xi::maskOf(XCB_INPUT_RAW_KEY_RELEASE)};
        xcb_input_xi_select_events(c_, server_->root(), 1, &keys.head);
        answer(c_, xcb_get_input_focus(c_), xcb_get_input_focus_reply);
        return grab && xcb_input_xi_passive_grab_device_modifiers_length(grab.get()) == 0;
    }

    void handle(const xcb_generic_event_t& event) {
        if (event.response_type == damageNotify_) {
            const auto& area = reinterpret_cast<const xcb_damage_notify_event_t&>(event).area;
            damaged_ = {std::min<int>(damaged_.left, area.x), std::min<int>(damaged_.top, area.y),
                        std::max(damaged_.right, area.x + area.width),
                        std::max(damaged_.bottom, area.y + area.height)};
        }
        const auto& other = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        if ((event.response_type & 0x7F) != XCB_GE_GENERIC || other.extension != input_)
            return;
        if (other.event_type == XCB_INPUT_GESTURE_PINCH_UPDATE && !isOpen_) {
            const auto& pinch =
                reinterpret_cast<const xcb_input_gesture_pinch_update_event_t&>(event);
            if (xi::toDouble(static_cast<xcb_input_fp1616_t>(pinch.scale)) > engageScale)
                open(static_cast<int>(xi::toDouble(pinch.root_x)),
                     static_cast<int>(xi::toDouble(pinch.root_y)));
        } else if (other.event_type == XCB_INPUT_RAW_KEY_RELEASE && isOpen_) {
            close();
        }
    }

    void open(int pointerX, int pointerY) {
        isOpen_ = true;
        focusX_ = pointerX - x_;
        focusY_ = pointerY - y_;
        xcb_composite_redirect_window(c_, source_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
        const xcb_pixmap_t pixels = xcb_generate_id(c_);
        xcb_composite_name_window_pixmap(c_, source_, pixels);
        picture_ = xcb_generate_id(c_);
        const std::uint32_t repeat = XCB_RENDER_REPEAT_PAD;
        xcb_render_create_picture(c_, picture_, pixels, server_->rootFormat(), XCB_RENDER_CP_REPEAT,
                                  &repeat);
        xcb_free_pixmap(c_, pixels);
        constexpr std::string_view filter = "bilinear";
        xcb_render_set_picture_filter(c_, picture_, filter.size(), filter.data(), 0, nullptr);
        constexpr xcb_render_fixed_t one = 65536;
        const xcb_render_transform_t transform{one / zoom, 0,          (one - one / zoom) * focusX_,
                                               0,          one / zoom, (one - one / zoom) * focusY_,
                                               0,          0,          one};
        xcb_render_set_picture_transform(c_, picture_, transform);
        damage_ = xcb_generate_id(c_);
        xcb_damage_create(c_, damage_, source_, XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX);
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(c_, window_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_map_window(c_, window_);
        draw({0, 0, width_, height_});
    }

    void close() {
        isOpen_ = false;
        xcb_unmap_window(c_, window_);
        xcb_damage_destroy(c_, damage_);
        xcb_render_free_picture(c_, picture_);
        xcb_composite_unredirect_window(c_, source_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    }

    // What shows this part of the source: with the pixel around it that the filter mixes in.
    void draw(const Box& part) const {
        if (!isOpen_)
            return;
        const auto onLens = [](int value, int focus, int limit) {
            return std::clamp(focus + (value - focus) * zoom, 0, limit);
        };
        const int left = onLens(part.left - 1, focusX_, width_);
        const int top = onLens(part.top - 1, focusY_, height_);
        const int right = onLens(part.right + 1, focusX_, width_);
        const int bottom = onLens(part.bottom + 1, focusY_, height_);
        const auto x = static_cast<std::int16_t>(left);
        const auto y = static_cast<std::int16_t>(top);
        xcb_render_composite(c_, XCB_RENDER_PICT_OP_SRC, picture_, XCB_NONE, target_, x, y, 0, 0, x,
                             y, static_cast<std::uint16_t>(right - left),
                             static_cast<std::uint16_t>(bottom - top));
    }

    const std::shared_ptr<const x11::PanelServer> server_;
    xcb_connection_t* const c_;
    const xcb_window_t source_;
    std::int16_t x_ = 0;
    std::int16_t y_ = 0;
    std::uint16_t width_ = 0;
    std::uint16_t height_ = 0;
    std::uint8_t damageNotify_ = 0;
    std::uint8_t input_ = 0;
    bool isReady_ = false;
    xcb_window_t window_ = XCB_NONE;
    xcb_render_picture_t target_ = XCB_NONE;

    bool isOpen_ = false;
    int focusX_ = 0;
    int focusY_ = 0;
    xcb_render_picture_t picture_ = XCB_NONE;
    xcb_damage_damage_t damage_ = XCB_NONE;
    Box damaged_{};
};

int run(const std::string& window, const std::string& depth) {
    std::string error;
    auto server = x11::PanelServer::open("", error);
    if (!server) {
        std::fprintf(stderr, "bench_bare_lens: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    BareLens lens(std::move(server),
                  static_cast<xcb_window_t>(std::strtoul(window.c_str(), nullptr, 0)),
                  depth == "32");
    if (!lens.isReady()) {
        std::fprintf(stderr, "bench_bare_lens: no such window, or pinches are grabbed\n");
        return EXIT_FAILURE;
    }
    std::puts("ready");
    std::fflush(stdout);
    lens.run();
    return EXIT_SUCCESS;
}

} // namespace
} // namespace lentora

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: bench_bare_lens WINDOW DEPTH\n");
        return EXIT_FAILURE;
    }
    return lentora::run(argv[1], argv[2]);
}
