#include "platform/x11/PanelServer.h"

#include <xcb/shape.h>
#include <xcb/sync.h>
#include <xcb/xfixes.h>

#include <string_view>

namespace lentora::x11 {

namespace {

struct Screen {
    const xcb_screen_t* screen = nullptr;
    int number = 0;
};

Screen screenOf(const Connection& connection) {
    Screen found;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (; screens.rem > 0; xcb_screen_next(&screens), ++found.number) {
        found.screen = screens.data;
        if (screens.data->root == connection.root())
            break;
    }
    return found;
}

bool hasChannels(const xcb_render_directformat_t& d, int alpha, int red, int green, int blue) {
    return d.alpha_shift == alpha && d.red_shift == red && d.green_shift == green &&
           d.blue_shift == blue && d.alpha_mask == 0xFF && d.red_mask == 0xFF &&
           d.green_mask == 0xFF && d.blue_mask == 0xFF;
}

// The first visual of the screen for which `isWanted`.
template <typename Predicate>
xcb_render_pictvisual_t visualOf(const xcb_render_query_pict_formats_reply_t& reply,
                                 int screenNumber, const Predicate& isWanted) {
    auto screens = xcb_render_query_pict_formats_screens_iterator(&reply);
    for (; screens.rem > 0 && screenNumber > 0; --screenNumber)
        xcb_render_pictscreen_next(&screens);
    if (screens.rem == 0)
        return {};
    auto depths = xcb_render_pictscreen_depths_iterator(screens.data);
    for (; depths.rem > 0; xcb_render_pictdepth_next(&depths)) {
        auto visuals = xcb_render_pictdepth_visuals_iterator(depths.data);
        for (; visuals.rem > 0; xcb_render_pictvisual_next(&visuals)) {
            if (isWanted(*visuals.data))
                return *visuals.data;
        }
    }
    return {};
}

constexpr std::array<const char*, static_cast<std::size_t>(PanelAtom::count)> atomNames{
    "UTF8_STRING",
    "_NET_WM_NAME",
    "_NET_WM_PID",
    "_NET_WM_DESKTOP",
    "_NET_WM_STATE",
    "_NET_WM_STATE_ABOVE",
    "_NET_WM_STATE_STICKY",
    "_NET_WM_STATE_SKIP_TASKBAR",
    "_NET_WM_STATE_SKIP_PAGER",
    "_NET_WM_BYPASS_COMPOSITOR",
    "_COMPTON_SHADOW",
    "WM_STATE",
};

} // namespace

std::shared_ptr<const PanelServer> PanelServer::open(const std::string& display,
                                                     std::string& error) {
    const std::shared_ptr<PanelServer> server(new PanelServer);
    server->connection_ = Connection::open(display, error);
    if (!server->connection_)
        return nullptr;
    error = server->agree();
    return error.empty() ? server : nullptr;
}

std::string PanelServer::agree() {
    xcb_connection_t* c = get();
    xcb_prefetch_extension_data(c, &xcb_render_id);
    xcb_prefetch_extension_data(c, &xcb_shape_id);
    xcb_prefetch_extension_data(c, &xcb_xfixes_id);
    xcb_prefetch_extension_data(c, &xcb_sync_id);
    if (!connection_->extension(xcb_render_id))
        return "the X server has no RENDER extension";
    if (!connection_->extension(xcb_shape_id))
        return "the X server has no SHAPE extension";
    const auto fixesExtension = connection_->extension(xcb_xfixes_id);
    if (!fixesExtension)
        return "the X server has no XFIXES extension";
    selectionNotify_ =
        static_cast<std::uint8_t>(fixesExtension->firstEvent + XCB_XFIXES_SELECTION_NOTIFY);

    const auto number = std::to_string(screenOf(*connection_).number);
    const std::string manager = "_NET_WM_CM_S" + number;
    const auto render = xcb_render_query_version(c, 0, 11);
    const auto shape = xcb_shape_query_version(c);
    const auto fixes = xcb_xfixes_query_version(c, 5, 0);
    const auto formats = xcb_render_query_pict_formats(c);
    // Whether there are counters is known by who marks them.
    if (connection_->extension(xcb_sync_id))
        xcb_discard_reply(c, xcb_sync_initialize(c, 3, 0).sequence);
    const auto selection =
        xcb_intern_atom(c, 0, static_cast<std::uint16_t>(manager.size()), manager.c_str());

    const XcbPtr<xcb_render_query_version_reply_t> renderVersion(
        xcb_render_query_version_reply(c, render, nullptr));
    const XcbPtr<xcb_shape_query_version_reply_t> shapeVersion(
        xcb_shape_query_version_reply(c, shape, nullptr));
    const XcbPtr<xcb_xfixes_query_version_reply_t> fixesVersion(
        xcb_xfixes_query_version_reply(c, fixes, nullptr));
    const XcbPtr<xcb_render_query_pict_formats_reply_t> pictFormats(
        xcb_render_query_pict_formats_reply(c, formats, nullptr));
    const XcbPtr<xcb_intern_atom_reply_t> selectionAtom(
        xcb_intern_atom_reply(c, selection, nullptr));
    if (connection_->isLost())
        return "the X server went away";
    // Pictures of one colour.
    if (!renderVersion || !pictFormats ||
        (renderVersion->major_version == 0 && renderVersion->minor_version < 10))
        return "the X server's RENDER extension is older than 0.10";
    // Shapes of the input.
    if (!shapeVersion || (shapeVersion->major_version == 1 && shapeVersion->minor_version < 1))
        return "the X server's SHAPE extension is older than 1.1";
    if (!fixesVersion)
        return "the X server's XFIXES extension does not answer";
    compositingManager_ = selectionAtom ? selectionAtom->atom : static_cast<xcb_atom_t>(XCB_NONE);
    takeAtoms();
    return takeFormats(*pictFormats);
}

void PanelServer::takeAtoms() {
    std::array<xcb_intern_atom_cookie_t, atomNames.size()> cookies{};
    for (std::size_t i = 0; i < atomNames.size(); ++i) {
        const std::string_view name = atomNames[i];
        cookies[i] =
            xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(name.size()), name.data());
    }
    for (std::size_t i = 0; i < atomNames.size(); ++i) {
        const XcbPtr<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(get(), cookies[i], nullptr));
        atoms_[i] = reply ? reply->atom : static_cast<xcb_atom_t>(XCB_NONE);
    }
}

std::string PanelServer::takeFormats(const xcb_render_query_pict_formats_reply_t& reply) {
    auto infos = xcb_render_query_pict_formats_formats_iterator(&reply);
    for (; infos.rem > 0; xcb_render_pictforminfo_next(&infos)) {
        const xcb_render_pictforminfo_t& info = *infos.data;
        if (info.type != XCB_RENDER_PICT_TYPE_DIRECT)
            continue;
        if (info.depth == 32 && hasChannels(info.direct, 24, 16, 8, 0))
            colorFormat_ = info.id;
        if (info.depth == 8 && info.direct.alpha_mask == 0xFF && info.direct.red_mask == 0)
            maskFormat_ = info.id;
    }
    const Screen screen = screenOf(*connection_);
    visual_ = visualOf(reply, screen.number, [&](const xcb_render_pictvisual_t& v) {
                  return v.format == colorFormat_;
              }).visual;
    rootFormat_ = visualOf(reply, screen.number, [&](const xcb_render_pictvisual_t& v) {
                      return v.visual == screen.screen->root_visual;
                  }).format;
    rootDepth_ = screen.screen->root_depth;
    if (colorFormat_ == XCB_NONE || maskFormat_ == XCB_NONE || visual_ == XCB_NONE ||
        rootFormat_ == XCB_NONE)
        return "the X server has no windows with alpha";
    colormap_ = xcb_generate_id(get());
    xcb_create_colormap(get(), XCB_COLORMAP_ALLOC_NONE, colormap_, root(), visual_);
    return {};
}

} // namespace lentora::x11
