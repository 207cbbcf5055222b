#include "platform/x11/PanelWindow.h"

#include "platform/x11/ProtocolNumbers.h"

#include <xcb/shape.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace lentora::x11 {

namespace {

// The class and its instance, each ended by a zero.
constexpr std::string_view windowClass{"lentora-lens\0Lentora\0", 21};
constexpr std::string_view windowName = "Lentora";

// Marks a window that is on every workspace.
constexpr std::uint32_t everyDesktop = 0xFFFFFFFF;

} // namespace

PanelWindow::PanelWindow(std::shared_ptr<const PanelServer> server, const PixelRect& frame)
    : server_(std::move(server)), id_(xcb_generate_id(server_->get())), frame_(frame),
      covered_(xcb_generate_id(server_->get())) {
    xcb_connection_t* c = server_->get();
    xcb_xfixes_create_region(c, covered_, 0, nullptr);
    const std::uint32_t mask = XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT |
                               XCB_CW_EVENT_MASK | XCB_CW_COLORMAP;
    const std::array<std::uint32_t, 5> values{0, 0, 1, XCB_EVENT_MASK_EXPOSURE,
                                              server_->colormap()};
    xcb_create_window(c, 32, id_, server_->root(), s16(frame.x), s16(frame.y), side(frame.width),
                      side(frame.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, server_->visual(), mask,
                      values.data());
    // An empty region. With no region at all the window would take every click.
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, id_,
                         0, 0, 0, nullptr);
    setProperties();
    picture_ = xcb_generate_id(c);
    xcb_render_create_picture(c, picture_, id_, server_->colorFormat(), 0, nullptr);
}

PanelWindow::~PanelWindow() {
    xcb_xfixes_destroy_region(server_->get(), covered_);
    xcb_render_free_picture(server_->get(), picture_);
    xcb_destroy_window(server_->get(), id_);
    xcb_flush(server_->get());
}

// No window manager manages it. These tell pagers, task bars and compositing managers what it is
// when they look at it all the same: no shadow, no effect, and no reason to stop compositing. It
// states no type: it is none of them, and by that the window list tells it from menus.
void PanelWindow::setProperties() {
    xcb_connection_t* c = server_->get();
    const auto set = [&](PanelAtom property, xcb_atom_t type, const auto& values) {
        constexpr auto size = sizeof values[0];
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, id_, server_->atom(property), type, size * 8,
                            static_cast<std::uint32_t>(values.size()), values.data());
    };
    const auto atom = [&](PanelAtom name) { return server_->atom(name); };
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(windowClass.size()), windowClass.data());
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(windowName.size()), windowName.data());
    set(PanelAtom::netWmName, atom(PanelAtom::utf8String), windowName);
    set(PanelAtom::netWmPid, XCB_ATOM_CARDINAL, std::array{static_cast<std::uint32_t>(::getpid())});
    set(PanelAtom::netWmDesktop, XCB_ATOM_CARDINAL, std::array{everyDesktop});
    set(PanelAtom::netWmState, XCB_ATOM_ATOM,
        std::array{atom(PanelAtom::stateAbove), atom(PanelAtom::stateSticky),
                   atom(PanelAtom::stateSkipTaskbar), atom(PanelAtom::stateSkipPager)});
    constexpr std::uint32_t keepCompositing = 2;
    set(PanelAtom::netWmBypassCompositor, XCB_ATOM_CARDINAL, std::array{keepCompositing});
    constexpr std::uint32_t none = 0;
    set(PanelAtom::comptonShadow, XCB_ATOM_CARDINAL, std::array{none});
    // Of the hints, only that it does not take the keyboard.
    constexpr std::uint32_t inputHint = 1;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 32, 9,
                        std::array<std::uint32_t, 9>{inputHint}.data());
}

void PanelWindow::setFrame(const PixelRect& frame) {
    frame_ = frame;
    const std::array<std::uint32_t, 4> values{static_cast<std::uint32_t>(s16(frame.x)),
                                              static_cast<std::uint32_t>(s16(frame.y)),
                                              side(frame.width), side(frame.height)};
    xcb_configure_window(server_->get(), id_,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         values.data());
}

void PanelWindow::map() {
    xcb_map_window(server_->get(), id_);
}

void PanelWindow::unmap() {
    xcb_unmap_window(server_->get(), id_);
}

void PanelWindow::raise() {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(server_->get(), id_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
}

void PanelWindow::putAbove(xcb_window_t sibling) {
    const std::array<std::uint32_t, 2> values{sibling, XCB_STACK_MODE_ABOVE};
    xcb_configure_window(server_->get(), id_,
                         XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, values.data());
}

void PanelWindow::setTransparent(bool transparent) {
    xcb_connection_t* c = server_->get();
    // Without a background, what is on the screen stays until something is drawn over it.
    const std::uint32_t nothing = XCB_NONE;
    xcb_change_window_attributes(c, id_, transparent ? XCB_CW_BACK_PIXEL : XCB_CW_BACK_PIXMAP,
                                 &nothing);
    if (transparent && cut_) {
        xcb_shape_mask(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, id_, 0, 0, XCB_NONE);
        cut_.reset();
    }
}

void PanelWindow::cutTo(const std::vector<PixelRect>& rects, const ServerPicture& below) {
    if (cut_ == rects)
        return;
    copyScreen(rects, below);
    setShape(rects);
}

void PanelWindow::cutAway() {
    setShape({});
    xcb_xfixes_set_region(server_->get(), covered_, 0, nullptr);
}

void PanelWindow::setShape(const std::vector<PixelRect>& rects) {
    cut_ = rects;
    const auto parts = rectangles(rects);
    xcb_shape_rectangles(server_->get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING,
                         XCB_CLIP_ORDERING_UNSORTED, id_, 0, 0,
                         static_cast<std::uint32_t>(parts.size()), parts.data());
}

void PanelWindow::copyScreen(const std::vector<PixelRect>& parts, const ServerPicture& to) const {
    xcb_connection_t* c = server_->get();
    const auto all = rectangles(parts);
    const xcb_xfixes_region_t region = xcb_generate_id(c);
    xcb_xfixes_create_region(c, region, static_cast<std::uint32_t>(all.size()), all.data());
    xcb_xfixes_subtract_region(c, region, covered_, region);
    xcb_xfixes_union_region(c, covered_, region, covered_);
    xcb_xfixes_set_picture_clip_region(c, to.picture(), region, 0, 0);
    xcb_xfixes_destroy_region(c, region);
    const xcb_render_picture_t root = xcb_generate_id(c);
    const std::uint32_t withWindows = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
    xcb_render_create_picture(c, root, server_->root(), server_->rootFormat(),
                              XCB_RENDER_CP_SUBWINDOW_MODE, &withWindows);
    xcb_render_composite(c, XCB_RENDER_PICT_OP_SRC, root, XCB_NONE, to.picture(), s16(frame_.x),
                         s16(frame_.y), 0, 0, 0, 0, u16(frame_.width), u16(frame_.height));
    xcb_render_free_picture(c, root);
    xcb_xfixes_set_picture_clip_region(c, to.picture(), XCB_NONE, 0, 0);
}

std::vector<xcb_rectangle_t> PanelWindow::rectangles(const std::vector<PixelRect>& rects) const {
    std::vector<xcb_rectangle_t> parts;
    parts.reserve(rects.size());
    for (const PixelRect& r : rects)
        parts.push_back({s16(r.x), s16(r.y), u16(r.width), u16(r.height)});
    return parts;
}

} // namespace lentora::x11
