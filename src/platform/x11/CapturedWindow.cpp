#include "platform/x11/CapturedWindow.h"

#include "platform/x11/PropertyValue.h"

#include <xcb/composite.h>

#include <utility>

namespace lentora::x11 {

namespace {

// What the server may be made to keep for one window: 512 MB. A screen of 16384 x 8192 fits.
constexpr std::int64_t maxRedirectedPixels = std::int64_t{128} << 20;

} // namespace

CapturedWindow::CapturedWindow(std::shared_ptr<const CaptureServer> server, MessageQueue& messages,
                               const TopLevel& window, std::function<void()> changed)
    : server_(std::move(server)), messages_(messages), id_(window.id), serial_(window.serial),
      changed_(std::move(changed)) {
    xcb_connection_t* c = server_->get();
    // Selected before they are asked for, so that no change falls between.
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, id_, XCB_CW_EVENT_MASK, &mask);
    xcb_shape_select_input(c, id_, 1);
    ask<xcb_get_window_attributes_reply_t>(
        xcb_get_window_attributes(c, id_), [this](const xcb_get_window_attributes_reply_t* reply) {
            if (reply != nullptr && reply->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT)
                format_ = server_->format(reply->visual);
        });
    ask<xcb_shape_query_extents_reply_t>(xcb_shape_query_extents(c, id_),
                                         [this](const xcb_shape_query_extents_reply_t* reply) {
                                             if (reply != nullptr)
                                                 setShaped(reply->bounding_shaped != 0);
                                         });
    askOpacity();
}

CapturedWindow::~CapturedWindow() {
    xcb_connection_t* c = server_->get();
    freePixels();
    if (damage_ != XCB_NONE)
        xcb_damage_destroy(c, damage_);
    if (mask_ != XCB_NONE)
        xcb_render_free_picture(c, mask_);
    if (shape_ != XCB_NONE)
        xcb_xfixes_destroy_region(c, shape_);
    if (isRedirected_)
        xcb_composite_unredirect_window(c, id_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_shape_select_input(c, id_, 0);
    const std::uint32_t mask = XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(c, id_, XCB_CW_EVENT_MASK, &mask);
}

template <typename Reply, typename Cookie>
void CapturedWindow::ask(Cookie cookie, std::function<void(const Reply*)> handler) {
    messages_.expect<Reply>(cookie, [this, alive = std::weak_ptr<const bool>(alive_),
                                     handler = std::move(handler)](const Reply* reply) {
        if (alive.expired())
            return;
        ++answers_;
        handler(reply);
        changed_();
    });
}

void CapturedWindow::askOpacity() {
    ask<xcb_get_property_reply_t>(xcb_get_property(server_->get(), 0, id_,
                                                   server_->atoms().windowOpacity,
                                                   XCB_ATOM_CARDINAL, 0, 1),
                                  [this](const xcb_get_property_reply_t* reply) {
                                      setAlpha(firstValue(reply).value_or(opaque));
                                  });
}

void CapturedWindow::setAlpha(std::uint32_t alpha) {
    if (alpha == alpha_)
        return;
    alpha_ = alpha;
    ++version_;
    xcb_connection_t* c = server_->get();
    if (mask_ != XCB_NONE)
        xcb_render_free_picture(c, std::exchange(mask_, XCB_NONE));
    if (alpha == opaque)
        return;
    mask_ = xcb_generate_id(c);
    xcb_render_create_solid_fill(c, mask_, {0, 0, 0, static_cast<std::uint16_t>(alpha >> 16)});
}

void CapturedWindow::setShaped(bool shaped) {
    isShaped_ = shaped;
    ++version_;
    xcb_connection_t* c = server_->get();
    if (shape_ != XCB_NONE)
        xcb_xfixes_destroy_region(c, std::exchange(shape_, XCB_NONE));
    if (!shaped)
        return;
    shape_ = xcb_generate_id(c);
    xcb_xfixes_create_region_from_window(c, shape_, id_, XCB_SHAPE_SK_BOUNDING);
}

void CapturedWindow::shapeChanged(const xcb_shape_notify_event_t& event) {
    if (event.shape_kind != XCB_SHAPE_SK_BOUNDING)
        return;
    setShaped(event.shaped != 0);
    changed_();
}

void CapturedWindow::redirect(const TopLevel& window) {
    xcb_connection_t* c = server_->get();
    // A larger one is seen where a compositing manager keeps its pixels anyway.
    const bool mayRedirect = window.bounds().area() <= maxRedirectedPixels;
    if (mayRedirect != isRedirected_) {
        if (mayRedirect)
            xcb_composite_redirect_window(c, id_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
        else
            xcb_composite_unredirect_window(c, id_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
        isRedirected_ = mayRedirect;
    }
    if (damage_ == XCB_NONE) {
        damage_ = xcb_generate_id(c);
        // Rectangles come as they are added: where something was drawn is known without asking.
        const auto created =
            xcb_damage_create(c, damage_, id_, XCB_DAMAGE_REPORT_LEVEL_DELTA_RECTANGLES);
        // The server begins with the report that all is damaged.
        damageSince_ = created.sequence + 1;
        hasReported_ = true;
    }
}

void CapturedWindow::follow(const TopLevel& window) {
    bounds_ = window.bounds();
    border_ = window.border;
    if (isFollowed() && window.pixels == pixels_)
        return;
    redirect(window);
    freePixels();
    xcb_connection_t* c = server_->get();
    pixels_ = window.pixels;
    ++version_;
    pixmap_ = xcb_generate_id(c);
    xcb_composite_name_window_pixmap(c, id_, pixmap_);
    picture_ = xcb_generate_id(c);
    xcb_render_create_picture(c, picture_, pixmap_, format_->id, 0, nullptr);
}

void CapturedWindow::freePixels() {
    if (pixmap_ == XCB_NONE)
        return;
    xcb_render_free_picture(server_->get(), std::exchange(picture_, XCB_NONE));
    xcb_free_pixmap(server_->get(), std::exchange(pixmap_, XCB_NONE));
}

PixelRect CapturedWindow::damaged(const xcb_generic_event_t& event) {
    const auto& damage = reinterpret_cast<const xcb_damage_notify_event_t&>(event);
    if (damage.damage != damage_)
        return {};
    hasReported_ = true;
    if (isBefore(event.full_sequence, damageSince_))
        return {};
    const PixelRect area{damage.area.x, damage.area.y, damage.area.width, damage.area.height};
    return intersection(area.translated(bounds_.x + border_, bounds_.y + border_), bounds_);
}

void CapturedWindow::forgetDamage() {
    if (std::exchange(hasReported_, false))
        xcb_damage_subtract(server_->get(), damage_, XCB_NONE, XCB_NONE);
}

} // namespace lentora::x11
