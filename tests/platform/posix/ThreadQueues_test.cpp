#include "platform/posix/ThreadQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <numeric>
#include <thread>

namespace lentora::posix {
namespace {

TEST(ThreadSerialQueue, KeepsTheOrderOfEachThreadAndLosesNothing) {
    constexpr int threadCount = 4;
    constexpr int postsPerThread = 5000;
    std::vector<int> next(threadCount, 0);
    bool ordered = true;
    {
        ThreadSerialQueue queue("test");
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < postsPerThread; ++i) {
                    queue.post([&, t, i] {
                        ordered = ordered && next[static_cast<std::size_t>(t)] == i;
                        ++next[static_cast<std::size_t>(t)];
                    });
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_TRUE(ordered);
    EXPECT_THAT(next, testing::Each(postsPerThread));
}

TEST(ThreadSerialQueue, RunAndWaitComesAfterWhatWasPostedBefore) {
    ThreadSerialQueue queue("a name longer than the system keeps");
    std::promise<void> gate;
    int value = 0;
    queue.post([&] { gate.get_future().wait(); });
    queue.post([&] { value = 1; });
    gate.set_value();
    int seen = 0;
    queue.runAndWait([&] { seen = value; });
    EXPECT_EQ(seen, 1);
}

TEST(ThreadExecutor, RunsWorkWhenItIsDueEarlierFirst) {
    ThreadExecutor executor(1);
    std::vector<int> order;
    std::promise<void> done;
    const auto start = std::chrono::steady_clock::now();
    executor.postAfter(0.04, [&] {
        order.push_back(2);
        done.set_value();
    });
    executor.postAfter(0.02, [&] { order.push_back(1); });
    executor.post([&] { order.push_back(0); });
    done.get_future().wait();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2));
}

TEST(ThreadExecutor, DropsWhatIsNotDueWhenItEnds) {
    bool ran = false;
    {
        ThreadExecutor(2).postAfter(3600, [&] { ran = true; });
    }
    EXPECT_FALSE(ran);
}

TEST(ThreadExecutor, TakesWorkThatPostsAsItGoes) {
    struct Poster {
        ~Poster() { executor.post(onGone); }
        ThreadExecutor& executor;
        std::function<void()> onGone;
    };
    ThreadExecutor executor(1);
    std::promise<void> gone;
    executor.post(
        [poster = std::make_shared<Poster>(executor, [&] { gone.set_value(); })] { (void)poster; });
    gone.get_future().wait();

    bool ran = false;
    const auto note = [&ran] { ran = true; };
    executor.postAfter(3600, [poster = std::make_shared<Poster>(executor, note)] { (void)poster; });
    executor.end();
    executor.post(note);
    EXPECT_FALSE(ran) << "it has ended";
}

} // namespace
} // namespace lentora::posix
