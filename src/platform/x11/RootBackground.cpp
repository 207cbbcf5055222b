#include "platform/x11/RootBackground.h"

#include "platform/x11/PropertyValue.h"

#include <utility>

namespace lentora::x11 {

RootBackground::RootBackground(const CaptureServer& server, MessageQueue& messages,
                               std::function<void()> changed)
    : server_(server), messages_(messages), changed_(std::move(changed)) {}

RootBackground::~RootBackground() {
    if (picture_ != XCB_NONE)
        xcb_render_free_picture(server_.get(), picture_);
}

void RootBackground::ask() {
    messages_.expect<xcb_get_property_reply_t>(
        xcb_get_property(server_.get(), 0, server_.root(), server_.atoms().rootPixmap,
                         XCB_ATOM_PIXMAP, 0, 1),
        [this](const xcb_get_property_reply_t* reply) {
            const xcb_pixmap_t pixmap = firstValue(reply).value_or(XCB_NONE);
            if (pixmap == XCB_NONE)
                take(XCB_NONE);
            else
                askForDepth(pixmap);
        });
}

// The program that set it may have ended, and the id may mean something else now.
void RootBackground::askForDepth(xcb_pixmap_t pixmap) {
    messages_.expect<xcb_get_geometry_reply_t>(
        xcb_get_geometry(server_.get(), pixmap),
        [this, pixmap](const xcb_get_geometry_reply_t* reply) {
            const bool isUsable = reply != nullptr && reply->depth == server_.rootFormat().depth;
            take(isUsable ? pixmap : static_cast<xcb_pixmap_t>(XCB_NONE));
        });
}

void RootBackground::take(xcb_pixmap_t pixmap) {
    if (pixmap == XCB_NONE && picture_ == XCB_NONE)
        return;
    xcb_connection_t* c = server_.get();
    if (picture_ != XCB_NONE)
        xcb_render_free_picture(c, std::exchange(picture_, XCB_NONE));
    if (pixmap != XCB_NONE) {
        picture_ = xcb_generate_id(c);
        const std::uint32_t repeat = XCB_RENDER_REPEAT_NORMAL;
        xcb_render_create_picture(c, picture_, pixmap, server_.rootFormat().id,
                                  XCB_RENDER_CP_REPEAT, &repeat);
    }
    changed_();
}

} // namespace lentora::x11
