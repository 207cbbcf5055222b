#include "platform/x11/Atoms.h"

#include <string_view>

namespace lentora::x11 {

namespace {

// In the order of the enumeration.
constexpr std::array<std::string_view, static_cast<std::size_t>(Atom::count)> names{
    "UTF8_STRING",
    "WM_STATE",
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_CLIENT_LIST",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_ACTIVE_WINDOW",
    "_NET_CURRENT_DESKTOP",
    "_NET_WM_NAME",
    "_NET_WM_DESKTOP",
    "_NET_WM_WINDOW_OPACITY",
    "_NET_FRAME_EXTENTS",
    "_GTK_FRAME_EXTENTS",
    "_NET_WM_STATE",
    "_NET_WM_STATE_ABOVE",
    "_NET_WM_STATE_FULLSCREEN",
    "_NET_WM_STATE_MAXIMIZED_VERT",
    "_NET_WM_STATE_MAXIMIZED_HORZ",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_WINDOW_TYPE_NORMAL",
    "_NET_WM_WINDOW_TYPE_DIALOG",
    "_NET_WM_WINDOW_TYPE_SPLASH",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_DOCK",
    "_NET_WM_WINDOW_TYPE_UTILITY",
    "_NET_WM_WINDOW_TYPE_TOOLBAR",
    "_NET_WM_WINDOW_TYPE_MENU",
    "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU",
    "_NET_WM_WINDOW_TYPE_POPUP_MENU",
    "_NET_WM_WINDOW_TYPE_TOOLTIP",
    "_NET_WM_WINDOW_TYPE_NOTIFICATION",
    "_NET_WM_WINDOW_TYPE_COMBO",
    "_NET_WM_WINDOW_TYPE_DND",
};
static_assert(!names.back().empty());

} // namespace

Atoms::Atoms(const Connection& connection) {
    std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        cookies[i] = xcb_intern_atom(connection.get(), 0,
                                     static_cast<std::uint16_t>(names[i].size()), names[i].data());
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        const XcbPtr<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection.get(), cookies[i], nullptr));
        if (reply)
            atoms_[i] = reply->atom;
    }
}

} // namespace lentora::x11
