#include "platform/x11/CaptureServer.h"

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/res.h>
#include <xcb/shape.h>
#include <xcb/sync.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace lentora::x11 {

namespace {

struct NeededExtension {
    xcb_extension_t* id;
    const char* name;
};

const std::array<NeededExtension, 5>& neededExtensions() {
    static const std::array<NeededExtension, 5> all{{{&xcb_composite_id, "Composite"},
                                                     {&xcb_damage_id, "DAMAGE"},
                                                     {&xcb_xfixes_id, "XFIXES"},
                                                     {&xcb_render_id, "RENDER"},
                                                     {&xcb_shape_id, "SHAPE"}}};
    return all;
}

xcb_visualid_t rootVisual(const Connection& connection) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    while (screens.rem > 1 && screens.data->root != connection.root())
        xcb_screen_next(&screens);
    return screens.data->root_visual;
}

xcb_intern_atom_cookie_t ask(xcb_connection_t* c, std::string_view name) {
    return xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.data());
}

xcb_atom_t answer(xcb_connection_t* c, xcb_intern_atom_cookie_t cookie) {
    const XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c, cookie, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_NONE);
}

// At least this version, or what the extension is called in an error.
template <typename Reply>
bool isAtLeast(const XcbPtr<Reply>& reply, unsigned major, unsigned minor) {
    return reply && (reply->major_version > major ||
                     (reply->major_version == major && reply->minor_version >= minor));
}

bool hasSameColours(const xcb_render_directformat_t& a, const xcb_render_directformat_t& b) {
    return a.red_shift == b.red_shift && a.red_mask == b.red_mask &&
           a.green_shift == b.green_shift && a.green_mask == b.green_mask &&
           a.blue_shift == b.blue_shift && a.blue_mask == b.blue_mask;
}

// The format of the same colours that has eight bits of alpha beside them.
std::optional<PictureFormat> withAlpha(const xcb_render_query_pict_formats_reply_t& reply,
                                       const PictureFormat& opaque) {
    constexpr int alphaMask = 0xFF;
    constexpr int alphaShift = 24;
    constexpr std::uint8_t depth = 32;
    const auto* infos = xcb_render_query_pict_formats_formats(&reply);
    const auto* end = infos + xcb_render_query_pict_formats_formats_length(&reply);
    const auto* base = std::find_if(infos, end, [&](const auto& f) { return f.id == opaque.id; });
    const auto* found = std::find_if(infos, end, [&](const auto& f) {
        return base != end && f.type == XCB_RENDER_PICT_TYPE_DIRECT && f.depth == depth &&
               f.direct.alpha_mask == alphaMask && f.direct.alpha_shift == alphaShift &&
               hasSameColours(f.direct, base->direct);
    });
    if (found == end)
        return std::nullopt;
    return PictureFormat{found->id, depth, true};
}

} // namespace

std::shared_ptr<const CaptureServer> CaptureServer::open(const std::string& display,
                                                         std::string& error) {
    const std::shared_ptr<CaptureServer> server(new CaptureServer);
    server->connection_ = Connection::open(display, error);
    if (!server->connection_)
        return nullptr;
    error = server->findExtensions();
    if (error.empty())
        error = server->agree();
    return error.empty() ? server : nullptr;
}

std::string CaptureServer::findExtensions() {
    for (const NeededExtension& extension : neededExtensions())
        xcb_prefetch_extension_data(get(), extension.id);
    xcb_prefetch_extension_data(get(), &xcb_res_id);
    xcb_prefetch_extension_data(get(), &xcb_sync_id);
    for (const NeededExtension& extension : neededExtensions()) {
        if (!connection_->extension(*extension.id))
            return std::string("the X server has no ") + extension.name + " extension";
    }
    damageNotify_ = connection_->extension(xcb_damage_id)->firstEvent + XCB_DAMAGE_NOTIFY;
    shapeNotify_ = connection_->extension(xcb_shape_id)->firstEvent + XCB_SHAPE_NOTIFY;
    hasResourceExtension_ = connection_->extension(xcb_res_id).has_value();
    hasCounters_ = connection_->extension(xcb_sync_id).has_value();
    return {};
}

// The server has to be told which versions we know before it serves us.
std::string CaptureServer::agree() {
    xcb_connection_t* c = get();
    const auto composite = xcb_composite_query_version(c, 0, 4);
    const auto damage = xcb_damage_query_version(c, 1, 1);
    const auto fixes = xcb_xfixes_query_version(c, 5, 0);
    const auto render = xcb_render_query_version(c, 0, 11);
    const auto formats = xcb_render_query_pict_formats(c);
    if (hasCounters_)
        xcb_discard_reply(c, xcb_sync_initialize(c, 3, 0).sequence);
    const auto opacity = ask(c, "_NET_WM_WINDOW_OPACITY");
    const auto rootPixmap = ask(c, "_XROOTPMAP_ID");
    const auto pid = ask(c, "_NET_WM_PID");

    const XcbPtr<xcb_composite_query_version_reply_t> compositeVersion(
        xcb_composite_query_version_reply(c, composite, nullptr));
    const XcbPtr<xcb_damage_query_version_reply_t> damageVersion(
        xcb_damage_query_version_reply(c, damage, nullptr));
    const XcbPtr<xcb_xfixes_query_version_reply_t> fixesVersion(
        xcb_xfixes_query_version_reply(c, fixes, nullptr));
    const XcbPtr<xcb_render_query_version_reply_t> renderVersion(
        xcb_render_query_version_reply(c, render, nullptr));
    const XcbPtr<xcb_render_query_pict_formats_reply_t> pictFormats(
        xcb_render_query_pict_formats_reply(c, formats, nullptr));
    atoms_ = {answer(c, opacity), answer(c, rootPixmap), answer(c, pid)};

    if (connection_->isLost())
        return "the X server went away";
    // References to a window's pixels.
    if (!isAtLeast(compositeVersion, 0, 2))
        return "the X server's Composite extension is older than 0.2";
    if (!isAtLeast(damageVersion, 1, 0))
        return "the X server's DAMAGE extension is older than 1.0";
    // Regions as clips.
    if (!isAtLeast(fixesVersion, 2, 0))
        return "the X server's XFIXES extension is older than 2.0";
    // Pictures of one colour.
    if (!isAtLeast(renderVersion, 0, 10) || !pictFormats)
        return "the X server's RENDER extension is older than 0.10";
    takeFormats(*pictFormats);
    const PictureFormat* found = format(rootVisual(*connection_));
    if (found == nullptr)
        return "the X server's RENDER extension does not know the format of the root window";
    rootFormat_ = *found;
    frameFormat_ = withAlpha(*pictFormats, rootFormat_).value_or(rootFormat_);
    return {};
}

void CaptureServer::takeFormats(const xcb_render_query_pict_formats_reply_t& reply) {
    std::map<xcb_render_pictformat_t, PictureFormat> known;
    auto infos = xcb_render_query_pict_formats_formats_iterator(&reply);
    for (; infos.rem > 0; xcb_render_pictforminfo_next(&infos)) {
        if (infos.data->type == XCB_RENDER_PICT_TYPE_DIRECT)
            known[infos.data->id] = {infos.data->id, infos.data->depth,
                                     infos.data->direct.alpha_mask != 0};
    }
    auto screens = xcb_render_query_pict_formats_screens_iterator(&reply);
    for (; screens.rem > 0; xcb_render_pictscreen_next(&screens)) {
        auto depths = xcb_render_pictscreen_depths_iterator(screens.data);
        for (; depths.rem > 0; xcb_render_pictdepth_next(&depths)) {
            auto visuals = xcb_render_pictdepth_visuals_iterator(depths.data);
            for (; visuals.rem > 0; xcb_render_pictvisual_next(&visuals)) {
                if (const auto found = known.find(visuals.data->format); found != known.end())
                    formats_[visuals.data->visual] = found->second;
            }
        }
    }
}

const PictureFormat* CaptureServer::format(xcb_visualid_t visual) const {
    const auto found = formats_.find(visual);
    return found == formats_.end() ? nullptr : &found->second;
}

} // namespace lentora::x11
