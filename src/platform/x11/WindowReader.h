// Reads what a WindowTracker does not know yet from the server.
//
// The questions of one stage are all sent before the first answer is waited for, so a stage costs
// one round trip, however many windows it is about. Any window may be gone by then: its answers
// are errors, which mean nothing else. Nothing is asked about windows that are not mapped.
#pragma once

#include "platform/x11/Atoms.h"
#include "platform/x11/ClientReader.h"
#include "platform/x11/WindowTracker.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// The thread of the connection.
class WindowReader {
public:
    /// Waits for the server twice.
    WindowReader(const Connection& connection, const Atoms& atoms);

    /// Reads everything that is stale.
    void read(WindowTracker& tracker);

    /// How often it has waited for the server.
    int roundTrips() const { return roundTrips_ + clientReader_.roundTrips(); }

private:
    struct Key {
        WindowId id;
        std::uint64_t generation;
    };

    void readAttributes(WindowTracker& tracker);
    void checkTree(WindowTracker& tracker, const std::vector<Key>& keys);
    void findClients(WindowTracker& tracker);
    void climbFromClients(WindowTracker& tracker);
    void searchFrames(WindowTracker& tracker, const std::vector<Key>& frames);
    std::vector<bool> areClients(const std::vector<WindowId>& windows);
    std::vector<XcbPtr<xcb_query_tree_reply_t>> readTrees(const std::vector<WindowId>& windows);

    const Connection& connection_;
    const Atoms& atoms_;
    ClientReader clientReader_;
    const bool hasShapes_;
    int roundTrips_ = 0;
};

} // namespace lentora::x11
