// What the root window tells of the desktop: the window manager's word on the windows, and the
// monitors.
#pragma once

#include "platform/x11/Atoms.h"
#include "platform/x11/ScreenLayout.h"
#include "platform/x11/WindowTracker.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// What a window manager says. Where none is running, the words that an earlier one left behind
/// do not count.
struct ManagerWord {
    /// The window by which it can be known whether it still runs; none without one that says.
    WindowId checkWindow = noWindow;
    /// The windows that it manages.
    std::optional<std::vector<WindowId>> clients;
    /// The client that the user works in; `noWindow` when that is none.
    std::optional<WindowId> activeClient;
    std::optional<std::uint32_t> currentDesktop;
    /// A window manager runs that does not list its windows.
    bool isSilent = false;
};

/// The thread of the connection.
class RootReader {
public:
    /// Waits for the server. Selects the events by which changes of the monitors are told.
    RootReader(const Connection& connection, const Atoms& atoms);

    /// Two round trips.
    ManagerWord readManager();

    /// One round trip, and two more where the server knows of monitors.
    ScreenLayout readLayout();

    /// The first event of the extension that tells of monitors; nothing without it.
    std::optional<std::uint8_t> firstLayoutEvent() const { return firstLayoutEvent_; }

    int roundTrips() const { return roundTrips_; }

private:
    xcb_get_property_cookie_t ask(WindowId window, xcb_atom_t property, std::uint32_t length) const;
    bool isManagersWindow(WindowId window);

    const Connection& connection_;
    const Atoms& atoms_;
    std::optional<std::uint8_t> firstLayoutEvent_;
    bool hasMonitors_ = false;
    int roundTrips_ = 0;
};

} // namespace lentora::x11
