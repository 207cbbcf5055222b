// Work for threads other than the main thread.
#pragma once

#include <functional>

namespace lentora {

/// A queue that runs one piece of work at a time, in the order of posting, on a thread of its
/// own. Data that is touched only by work on one serial queue needs no lock.
class SerialQueue {
public:
    using Work = std::function<void()>;

    virtual ~SerialQueue() = default;

    /// Any thread. Never waits for work that is running or queued.
    virtual void post(Work work) = 0;

    /// Runs `work` on the queue after everything posted before, and returns when it has run.
    /// Any thread but the queue's own: there it would wait for itself.
    virtual void runAndWait(Work work) = 0;
};

/// The shared pool for work that belongs to no queue. Two pieces of work may run at once.
class BackgroundExecutor {
public:
    using Work = std::function<void()>;

    virtual ~BackgroundExecutor() = default;

    /// Any thread.
    virtual void post(Work work) = 0;

    /// Runs `work` `seconds` (>= 0) from now. Any thread. Work not yet due when the executor ends
    /// is dropped.
    virtual void postAfter(double seconds, Work work) = 0;
};

} // namespace lentora
