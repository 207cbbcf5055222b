// Work for the main thread.
#pragma once

#include <functional>

namespace lentora {

/// The queue that the main thread works off. All user interface, the zoom session, and every
/// call on an InputBackendDelegate happen in work posted here.
class MainQueue {
public:
    using Work = std::function<void()>;

    virtual ~MainQueue() = default;

    /// Runs `work` on the main thread later, never inside this call, in the order of posting.
    /// Any thread; does not wait for the main thread. Work still queued when the program ends is
    /// dropped.
    virtual void post(Work work) = 0;

    /// Runs `work` on the main thread `seconds` (>= 0) from now. Any thread.
    virtual void postAfter(double seconds, Work work) = 0;
};

} // namespace lentora
