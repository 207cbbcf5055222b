#include "platform/x11/RootReader.h"

#include "platform/x11/Properties.h"
#include "platform/x11/RefreshRate.h"

#include <xcb/randr.h>

#include <algorithm>

namespace lentora::x11 {

namespace {

// How much of a property is asked for, in units of four bytes.
constexpr std::uint32_t mostClients = 8192;
constexpr std::uint32_t longestResources = 16384;

using PropertyReply = XcbPtr<xcb_get_property_reply_t>;

} // namespace

RootReader::RootReader(const Connection& connection, const Atoms& atoms)
    : connection_(connection), atoms_(atoms) {
    const auto randr = connection.extension(xcb_randr_id);
    if (!randr)
        return;
    const XcbPtr<xcb_randr_query_version_reply_t> version(xcb_randr_query_version_reply(
        connection.get(), xcb_randr_query_version(connection.get(), 1, 5), nullptr));
    hasMonitors_ = version && (version->major_version > 1 || version->minor_version >= 5);
    firstLayoutEvent_ = randr->firstEvent;
    xcb_randr_select_input(connection.get(), connection.root(),
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
}

xcb_get_property_cookie_t RootReader::ask(WindowId window, xcb_atom_t property,
                                          std::uint32_t length) const {
    return xcb_get_property(connection_.get(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                            length);
}

ManagerWord RootReader::readManager() {
    xcb_connection_t* const c = connection_.get();
    const xcb_window_t root = connection_.root();
    const auto check = ask(root, atoms_[Atom::netSupportingWmCheck], 1);
    const auto stacking = ask(root, atoms_[Atom::netClientListStacking], mostClients);
    const auto list = ask(root, atoms_[Atom::netClientList], mostClients);
    const auto active = ask(root, atoms_[Atom::netActiveWindow], 1);
    const auto desktop = ask(root, atoms_[Atom::netCurrentDesktop], 1);
    const auto attributes = xcb_get_window_attributes(c, root);
    ++roundTrips_;
    const PropertyReply checkReply(xcb_get_property_reply(c, check, nullptr));
    const PropertyReply stackingReply(xcb_get_property_reply(c, stacking, nullptr));
    const PropertyReply listReply(xcb_get_property_reply(c, list, nullptr));
    const PropertyReply activeReply(xcb_get_property_reply(c, active, nullptr));
    const PropertyReply desktopReply(xcb_get_property_reply(c, desktop, nullptr));
    const XcbPtr<xcb_get_window_attributes_reply_t> attributesReply(
        xcb_get_window_attributes_reply(c, attributes, nullptr));

    ManagerWord word;
    const WindowId window =
        PropertyValue(checkReply.get()).firstValue(XCB_ATOM_WINDOW).value_or(noWindow);
    if (window != noWindow && isManagersWindow(window)) {
        word.checkWindow = window;
        PropertyValue clients(stackingReply.get());
        if (clients.type() != XCB_ATOM_WINDOW)
            clients = PropertyValue(listReply.get());
        if (clients.type() == XCB_ATOM_WINDOW) {
            const auto ids = clients.values(XCB_ATOM_WINDOW);
            word.clients.emplace(ids.begin(), ids.end());
        }
        word.activeClient = PropertyValue(activeReply.get()).firstValue(XCB_ATOM_WINDOW);
        word.currentDesktop = PropertyValue(desktopReply.get()).firstValue(XCB_ATOM_CARDINAL);
    }
    // Only one client may select this, and that is what makes it the window manager.
    const bool isManaged = attributesReply && (attributesReply->all_event_masks &
                                               XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT) != 0;
    word.isSilent = isManaged && !word.clients;
    return word;
}

// The window is there, and says of itself what the root says of it.
bool RootReader::isManagersWindow(WindowId window) {
    const auto cookie = ask(window, atoms_[Atom::netSupportingWmCheck], 1);
    ++roundTrips_;
    const PropertyReply reply(xcb_get_property_reply(connection_.get(), cookie, nullptr));
    return PropertyValue(reply.get()).firstValue(XCB_ATOM_WINDOW) == window;
}

ScreenLayout RootReader::readLayout() {
    xcb_connection_t* const c = connection_.get();
    const xcb_window_t root = connection_.root();
    const auto resources = ask(root, XCB_ATOM_RESOURCE_MANAGER, longestResources);
    const auto geometry = xcb_get_geometry(c, root);
    const auto monitors =
        hasMonitors_ ? xcb_randr_get_monitors(c, root, 1) : xcb_randr_get_monitors_cookie_t{};
    ++roundTrips_;
    const PropertyReply resourcesReply(xcb_get_property_reply(c, resources, nullptr));
    const XcbPtr<xcb_get_geometry_reply_t> geometryReply(
        xcb_get_geometry_reply(c, geometry, nullptr));
    const XcbPtr<xcb_randr_get_monitors_reply_t> monitorsReply(
        hasMonitors_ ? xcb_randr_get_monitors_reply(c, monitors, nullptr) : nullptr);

    std::vector<Monitor> found;
    if (monitorsReply) {
        roundTrips_ += 2;
        const std::vector<RefreshRate> rates = readRefreshRates(connection_);
        auto infos = xcb_randr_get_monitors_monitors_iterator(monitorsReply.get());
        for (; infos.rem > 0; xcb_randr_monitor_info_next(&infos)) {
            const xcb_randr_monitor_info_t& info = *infos.data;
            const PixelRect rect{info.x, info.y, info.width, info.height};
            found.push_back({.id = info.name,
                             .rect = rect,
                             .primary = info.primary != 0,
                             .refreshRate = refreshRateOf(rect, rates)});
        }
    }
    // A server that knows of no monitors shows the screen as a whole.
    if (found.empty() && geometryReply) {
        found.push_back({.rect = {0, 0, geometryReply->width, geometryReply->height}});
    }
    return screenLayout(std::move(found),
                        scaleOf(dotsPerInch(PropertyValue(resourcesReply.get()).bytes())));
}

} // namespace lentora::x11
