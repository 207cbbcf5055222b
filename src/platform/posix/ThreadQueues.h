// Queues with threads of their own.
#pragma once

#include "platform/Executor.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace lentora::posix {

/// One thread. Posting takes no lock: a thread that posts cannot be held up by the one that runs
/// the work, however slow that is.
class ThreadSerialQueue final : public SerialQueue {
public:
    /// `threadName` is what debuggers show; the system keeps its first 15 bytes.
    explicit ThreadSerialQueue(const std::string& threadName);

    /// Runs everything posted before, then ends.
    ~ThreadSerialQueue() override;
    ThreadSerialQueue(const ThreadSerialQueue&) = delete;
    ThreadSerialQueue& operator=(const ThreadSerialQueue&) = delete;

    void post(Work work) override;
    void runAndWait(Work work) override;

private:
    struct Node {
        Work work;
        Node* next;
    };

    void run();
    void runNewestLast(Node* newest);

    // The posted work, newest first.
    std::atomic<Node*> head_{nullptr};
    // 1 when there may be something new. An int, because the system can wait for one directly.
    std::atomic<int> signal_{0};
    // Touched by work on the queue only.
    bool ending_ = false;
    std::thread thread_;
};

/// A few threads that sleep until there is something to do.
class ThreadExecutor final : public BackgroundExecutor {
public:
    explicit ThreadExecutor(std::size_t threadCount);

    ~ThreadExecutor() override { end(); }
    ThreadExecutor(const ThreadExecutor&) = delete;
    ThreadExecutor& operator=(const ThreadExecutor&) = delete;

    /// Waits for the work that runs, and drops the rest and whatever is posted from then on. Where
    /// work uses something that posts here in turn, such as a service that answers, this comes
    /// before the end of either. Not on one of its own threads.
    void end();

    void post(Work work) override;
    void postAfter(double seconds, Work work) override;

private:
    using Due = std::chrono::steady_clock::time_point;

    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t nextSequence_ = 0;
    std::map<std::pair<Due, std::uint64_t>, Work> waiting_;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

} // namespace lentora::posix
