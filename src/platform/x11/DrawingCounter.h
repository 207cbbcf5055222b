// Tells the clients of a server how far another of them has got with its drawing.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/sync.h>

#include <cstdint>

namespace lentora::x11 {

/// A counter of the SYNC extension. The server carries out the requests of one connection in their
/// order, but it serves connections in an order of its own. Who draws counts on; who reads has the
/// server hold its own requests back until then. Nobody waits for a reply.
class DrawingCounter {
public:
    /// A moment in the order of the drawing connection. Of none, nothing has to be waited for.
    struct Moment {
        xcb_sync_counter_t counter = XCB_NONE;
        std::int64_t value = 0;
    };

    /// `connection`, which has the extension, draws. It outlives the counter.
    explicit DrawingCounter(const Connection& connection);
    /// Who waits for it is let go on, after everything that was sent before.
    ~DrawingCounter();
    DrawingCounter(const DrawingCounter&) = delete;
    DrawingCounter& operator=(const DrawingCounter&) = delete;

    /// The moment when all that was sent on the connection so far has been carried out. Sends
    /// itself, but does not flush.
    Moment mark();

    /// What is sent on `reader` after this is carried out after `moment`. Does not flush. The
    /// drawing connection must have been flushed since the mark, or the reader stands still until
    /// it is.
    static void await(const Connection& reader, const Moment& moment);

private:
    xcb_connection_t* const connection_;
    const xcb_sync_counter_t counter_;
    std::int64_t value_ = 0;
};

} // namespace lentora::x11
