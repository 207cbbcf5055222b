// Reads what applications and window managers say of the windows that applications made.
#pragma once

#include "platform/x11/Atoms.h"
#include "platform/x11/WindowTracker.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace lentora::x11 {

/// The thread of the connection. A part of a WindowReader, which says how it reads.
class ClientReader {
public:
    /// Waits for the server.
    ClientReader(const Connection& connection, const Atoms& atoms);

    /// Reads what is stale of the clients of `windows`, which are the tracker's, and selects the
    /// events of those that are new.
    void read(WindowTracker& tracker, std::vector<const TrackedWindow*> windows);

    /// How often it has waited for the server.
    int roundTrips() const { return roundTrips_; }

private:
    struct Key {
        WindowId id;
        std::uint64_t generation;
    };

    struct PropertyQuestion {
        Key key;
        Aspects aspect;
        xcb_get_property_cookie_t cookie;
    };

    void readOwners(WindowTracker& tracker, const std::vector<const TrackedWindow*>& windows);
    void selectEvents(const TrackedWindow& window);
    std::unordered_map<std::uint32_t, int> processesOf(const std::vector<WindowId>& clients);
    void readGeometries(WindowTracker& tracker, const std::vector<const TrackedWindow*>& windows);
    void readProperties(WindowTracker& tracker, const std::vector<const TrackedWindow*>& windows);
    void readPlainTitles(WindowTracker& tracker, const std::vector<Key>& keys);

    const Connection& connection_;
    const Atoms& atoms_;
    /// The server knows the processes of its clients.
    bool knowsProcesses_ = false;
    int roundTrips_ = 0;
};

} // namespace lentora::x11
