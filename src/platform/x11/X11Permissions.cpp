#include "platform/x11/X11Permissions.h"

#include "platform/x11/XInput.h"

#include <xcb/xinput.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace lentora::x11 {

namespace {

// By name, so that asking whether they are there needs none of their libraries.
constexpr std::array<std::string_view, 5> captureExtensions{"Composite", "DAMAGE", "XFIXES",
                                                            "RENDER", "SHAPE"};

void askForInput(const Connection& connection, ServerAbilities& abilities) {
    if (!connection.extension(xcb_input_id))
        return;
    const XcbPtr<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        connection.get(),
        xcb_input_xi_query_version(connection.get(), xi::majorVersion, xi::gestureMinorVersion),
        nullptr));
    if (!version)
        return;
    abilities.input = xi::isEnough(version->major_version, version->minor_version);
    abilities.pinches = abilities.input && version->minor_version >= xi::gestureMinorVersion;
}

bool tellsFocus(xcb_connection_t* c) {
    const XcbPtr<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    return focus != nullptr;
}

} // namespace

ServerAbilities abilitiesOf(const Connection& connection) {
    ServerAbilities abilities;
    if (connection.isLost())
        return abilities;
    xcb_connection_t* const c = connection.get();
    std::array<xcb_query_extension_cookie_t, captureExtensions.size()> cookies{};
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const std::string_view name = captureExtensions[i];
        cookies[i] = xcb_query_extension(c, static_cast<std::uint16_t>(name.size()), name.data());
    }
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const XcbPtr<xcb_query_extension_reply_t> reply(
            xcb_query_extension_reply(c, cookies[i], nullptr));
        if (!reply || reply->present == 0)
            abilities.missing.emplace_back(captureExtensions[i]);
    }
    abilities.capture = abilities.missing.empty();
    askForInput(connection, abilities);
    if (!abilities.input)
        abilities.missing.emplace_back("XInputExtension 2.1");
    abilities.focus = tellsFocus(c);
    return connection.isLost() ? ServerAbilities{} : abilities;
}

} // namespace lentora::x11
