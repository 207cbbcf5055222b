#include "platform/x11/X11Permissions.h"

#include "platform/x11/XInput.h"

#include <xcb/xinput.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace lentora::x11 {

namespace {

// By name, so that asking whether they are there needs none of their libraries.
constexpr std::array<std::string_view, 4> captureExtensions{"Composite", "DAMAGE", "XFIXES",
                                                            "RENDER"};

bool hasInput(const Connection& connection) {
    if (!connection.extension(xcb_input_id))
        return false;
    const XcbPtr<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        connection.get(),
        xcb_input_xi_query_version(connection.get(), xi::majorVersion, xi::gestureMinorVersion),
        nullptr));
    return version && version->major_version >= xi::majorVersion;
}

} // namespace

ServerAbilities abilitiesOf(const Connection& connection) {
    xcb_connection_t* const c = connection.get();
    std::array<xcb_query_extension_cookie_t, captureExtensions.size()> cookies{};
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const std::string_view name = captureExtensions[i];
        cookies[i] = xcb_query_extension(c, static_cast<std::uint16_t>(name.size()), name.data());
    }
    bool capture = true;
    for (const auto cookie : cookies) {
        const XcbPtr<xcb_query_extension_reply_t> reply(
            xcb_query_extension_reply(c, cookie, nullptr));
        capture = capture && reply && reply->present != 0;
    }
    const bool input = hasInput(connection);
    return {.capture = capture, .focus = !connection.isLost(), .input = input};
}

} // namespace lentora::x11
