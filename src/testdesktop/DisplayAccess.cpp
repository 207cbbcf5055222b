#include "testdesktop/DisplayAccess.h"

#include <xcb/xcb.h>

#include <sys/random.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace lentora::testdesktop {
namespace {

constexpr char protocolName[] = "MIT-MAGIC-COOKIE-1";
constexpr int cookieLength = 16;
constexpr std::uint16_t anyAddressFamily = 0xffff;

void appendShort(std::string& text, std::size_t value) {
    text += static_cast<char>((value >> 8) & 0xff);
    text += static_cast<char>(value & 0xff);
}

void appendCounted(std::string& text, const std::string& part) {
    appendShort(text, part.size());
    text += part;
}

} // namespace

DisplayAccess::DisplayAccess() : cookie_(cookieLength, '\0') {
    // Up to 256 bytes come in one piece or not at all.
    if (::getrandom(cookie_.data(), cookie_.size(), 0) != cookieLength)
        cookie_.clear();
}

std::string DisplayAccess::authorityFile() const {
    std::string text;
    appendShort(text, anyAddressFamily);
    appendCounted(text, ""); // any host
    appendCounted(text, ""); // any display
    appendCounted(text, protocolName);
    appendCounted(text, cookie_);
    return text;
}

bool DisplayAccess::admitThisUser(const std::string& displayName, std::string& error) const {
    std::string name = protocolName;
    std::string data = cookie_;
    xcb_auth_info_t auth{static_cast<int>(name.size()), name.data(), static_cast<int>(data.size()),
                         data.data()};
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect_to_display_with_auth_info(displayName.c_str(), &auth, nullptr),
        &xcb_disconnect);
    if (xcb_connection_has_error(connection.get()) != 0) {
        error = "cannot connect to the new X server " + displayName;
        return false;
    }
    std::string rule = "localuser";
    rule += '\0';
    rule += "#" + std::to_string(::geteuid());
    const xcb_void_cookie_t request = xcb_change_hosts_checked(
        connection.get(), XCB_HOST_MODE_INSERT, XCB_FAMILY_SERVER_INTERPRETED,
        static_cast<std::uint16_t>(rule.size()),
        reinterpret_cast<const std::uint8_t*>(rule.data()));
    const std::unique_ptr<xcb_generic_error_t, decltype(&std::free)> refusal(
        xcb_request_check(connection.get(), request), &std::free);
    if (refusal || xcb_connection_has_error(connection.get()) != 0) {
        error = "the new X server " + displayName + " does not admit this user";
        return false;
    }
    return true;
}

} // namespace lentora::testdesktop
