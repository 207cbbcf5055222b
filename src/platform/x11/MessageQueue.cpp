#include "platform/x11/MessageQueue.h"

#include <xcb/xcbext.h>

namespace lentora::x11 {

bool MessageQueue::takeReply() {
    if (hasReply_ || expected_.empty())
        return hasReply_;
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(connection_.get(), expected_.front().sequence, &reply, &error) == 0)
        return false;
    const XcbPtr<xcb_generic_error_t> errorOwner(error);
    reply_.reset(reply);
    hasReply_ = true;
    return true;
}

bool MessageQueue::dispatchNext(const EventHandler& onEvent) {
    // Only this call reads from the server, so no event can be older than one that it missed.
    if (!event_)
        event_.reset(xcb_poll_for_event(connection_.get()));
    // An event carries the number of the last request that the server had carried out.
    const bool hasReply = takeReply();
    if (event_ && (!hasReply || isBefore(event_->full_sequence, expected_.front().sequence))) {
        const XcbPtr<xcb_generic_event_t> event = std::move(event_);
        onEvent(*event);
        return true;
    }
    if (!hasReply)
        return false;
    // The handler may expect further replies.
    const XcbPtr<void> reply = std::move(reply_);
    const auto handler = std::move(expected_.front().handler);
    expected_.pop_front();
    hasReply_ = false;
    handler(reply.get());
    return true;
}

} // namespace lentora::x11
