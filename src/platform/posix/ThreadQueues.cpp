#include "platform/posix/ThreadQueues.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>

namespace lentora::posix {

namespace {

constexpr std::size_t maxThreadName = 15;

} // namespace

ThreadSerialQueue::ThreadSerialQueue(const std::string& threadName) : thread_([this] { run(); }) {
    pthread_setname_np(thread_.native_handle(), threadName.substr(0, maxThreadName).c_str());
}

ThreadSerialQueue::~ThreadSerialQueue() {
    post([this] { ending_ = true; });
    thread_.join();
}

void ThreadSerialQueue::post(Work work) {
    // Owned by the list until `runNewestLast` takes it back.
    auto* node = std::make_unique<Node>(Node{std::move(work), nullptr}).release();
    // Once it is in the list, the node is the other thread's: it may be gone already.
    Node* before = head_.load(std::memory_order_relaxed);
    do {
        node->next = before;
    } while (!head_.compare_exchange_weak(before, node, std::memory_order_release,
                                          std::memory_order_relaxed));
    if (before == nullptr) {
        signal_.store(1);
        signal_.notify_one();
    }
}

void ThreadSerialQueue::runAndWait(Work work) {
    std::promise<void> done;
    post([&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void ThreadSerialQueue::run() {
    while (!ending_) {
        signal_.wait(0);
        // Takes part in the order of the posters' stores, so that none of them is lost.
        signal_.exchange(0);
        while (Node* newest = head_.exchange(nullptr, std::memory_order_acquire))
            runNewestLast(newest);
    }
}

void ThreadSerialQueue::runNewestLast(Node* newest) {
    Node* oldest = nullptr;
    while (newest != nullptr) {
        Node* const next = std::exchange(newest->next, oldest);
        oldest = std::exchange(newest, next);
    }
    while (oldest != nullptr) {
        const std::unique_ptr<Node> node(oldest);
        oldest = node->next;
        node->work();
    }
}

ThreadExecutor::ThreadExecutor(std::size_t threadCount) {
    for (std::size_t i = 0; i < threadCount; ++i)
        threads_.emplace_back([this] { run(); });
}

void ThreadExecutor::end() {
    decltype(waiting_) dropped;
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        dropped.swap(waiting_);
    }
    changed_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

void ThreadExecutor::post(Work work) {
    postAfter(0, std::move(work));
}

void ThreadExecutor::postAfter(double seconds, Work work) {
    const auto delay = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
    {
        const std::lock_guard lock(mutex_);
        if (ending_)
            return;
        const Due due = std::chrono::steady_clock::now() + delay;
        waiting_.emplace(std::pair(due, nextSequence_++), std::move(work));
    }
    changed_.notify_one();
}

void ThreadExecutor::run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (waiting_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const Due due = waiting_.begin()->first.first;
        if (due > std::chrono::steady_clock::now()) {
            changed_.wait_until(lock, due);
            continue;
        }
        auto entry = waiting_.extract(waiting_.begin());
        lock.unlock();
        entry.mapped()();
        // What the work held may post as it goes: not under the lock.
        entry = {};
        lock.lock();
    }
}

} // namespace lentora::posix
