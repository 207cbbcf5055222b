// Events and awaited replies of one connection, in the order in which the server sent them.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <utility>

namespace lentora::x11 {

/// xcb keeps events and replies apart. Who builds a picture of the server's state out of both must
/// know which of them came first, or an old event undoes what a newer reply told. One thread.
class MessageQueue {
public:
    /// `connection` outlives the queue.
    explicit MessageQueue(const Connection& connection) : connection_(connection) {}

    /// Calls `handler` with the reply to a request, or with null when there is none because of an
    /// error. Requests are to be announced in the order of sending. Never waits.
    template <typename Reply, typename Cookie>
    void expect(Cookie cookie, std::function<void(const Reply*)> handler) {
        expected_.push_back({cookie.sequence, [handler = std::move(handler)](const void* reply) {
                                 handler(static_cast<const Reply*>(reply));
                             }});
    }

    /// A reply is expected.
    bool isWaiting() const { return !expected_.empty(); }

    using EventHandler = std::function<void(const xcb_generic_event_t&)>;

    /// Handles the next message that has arrived: calls `onEvent`, or the handler of a reply.
    /// False when there is none.
    bool dispatchNext(const EventHandler& onEvent);

private:
    struct Expected {
        unsigned sequence = 0;
        std::function<void(const void*)> handler;
    };

    bool takeReply();

    const Connection& connection_;
    std::deque<Expected> expected_;
    // The reply to the first of `expected_`, when it has arrived.
    XcbPtr<void> reply_;
    bool hasReply_ = false;
    XcbPtr<xcb_generic_event_t> event_;
};

/// Request numbers are counted modulo 2^32.
inline bool isBefore(std::uint32_t sequence, std::uint32_t other) {
    return static_cast<std::int32_t>(sequence - other) < 0;
}

} // namespace lentora::x11
