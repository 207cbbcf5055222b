// What a line of the log costs the thread that logs it, with the disk as it is and with a disk that
// takes a millisecond for every line.
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixTextFiles.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/sim/SimDesktop.h"
#include "support/Log.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

namespace lentora {
namespace {

using SteadyClock = std::chrono::steady_clock;

// A disk on which every line takes `delay`.
class SlowFiles final : public TextFiles {
public:
    explicit SlowFiles(std::chrono::microseconds delay) : delay_(delay) {}

    bool createDirectories(const std::string& path) override {
        return files_.createDirectories(path);
    }
    bool remove(const std::string& path) override { return files_.remove(path); }
    bool rename(const std::string& from, const std::string& to) override {
        return files_.rename(from, to);
    }
    bool writeAtomically(const std::string& path, std::string_view text) override {
        return files_.writeAtomically(path, text);
    }
    bool appendToExisting(const std::string& path, std::string_view text) override {
        if (delay_.count() > 0 && !released_)
            std::this_thread::sleep_for(delay_);
        return files_.appendToExisting(path, text);
    }

    /// The measuring is over: what is queued need not take its time.
    void release() { released_ = true; }

private:
    const std::chrono::microseconds delay_;
    std::atomic<bool> released_ = false;
    posix::PosixTextFiles files_;
};

class DroppingMainQueue final : public MainQueue {
public:
    void post(Work /*work*/) override {}
    void postAfter(double /*seconds*/, Work /*work*/) override {}
};

struct LogSetUp {
    explicit LogSetUp(std::chrono::microseconds diskDelay) : files(diskDelay) {}
    ~LogSetUp() {
        files.release();
        queue.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    std::string folder = [] {
        std::string name =
            (std::filesystem::temp_directory_path() / "lentora-bench-XXXXXX").string();
        return std::string(::mkdtemp(name.data()));
    }();
    SlowFiles files;
    std::unique_ptr<posix::ThreadSerialQueue> queue =
        std::make_unique<posix::ThreadSerialQueue>("lentora.log");
    sim::SimUnifiedLog unifiedLog;
    posix::PosixWallClock clock;
    DroppingMainQueue mainQueue;
    Log log{{files, *queue, unifiedLog, clock, mainQueue}, folder};
};

// Calls a second from four threads at once. The counters are the times that one call took the
// thread that made it, as the mean of the threads: what a thread that must answer quickly waits.
void logFromFourThreads(benchmark::State& state) {
    static std::unique_ptr<LogSetUp> shared;
    if (state.thread_index() == 0)
        shared = std::make_unique<LogSetUp>(std::chrono::microseconds(state.range(0)));
    std::vector<double> nanoseconds;
    nanoseconds.reserve(static_cast<std::size_t>(state.max_iterations));
    for (auto _ : state) {
        const auto before = SteadyClock::now();
        shared->log.log("gate", "[tap] effective gate ACTIVE (physical=true locked=false)");
        nanoseconds.push_back(
            std::chrono::duration<double, std::nano>(SteadyClock::now() - before).count());
    }
    state.SetItemsProcessed(state.iterations());
    std::ranges::sort(nanoseconds);
    const auto at = [&](double part) {
        const auto last = static_cast<double>(nanoseconds.size() - 1);
        return benchmark::Counter(nanoseconds[static_cast<std::size_t>(part * last)],
                                  benchmark::Counter::kAvgThreads);
    };
    state.counters["median_ns"] = at(0.5);
    state.counters["p99_ns"] = at(0.99);
    state.counters["p999_ns"] = at(0.999);
    // The loop ends for all threads at once: nobody logs any more.
    if (state.thread_index() == 0)
        shared.reset();
}
BENCHMARK(logFromFourThreads)
    ->ArgName("disk_us")
    ->Arg(0)
    ->Arg(1000)
    ->Threads(4)
    ->Iterations(20'000)
    ->UseRealTime();

} // namespace
} // namespace lentora
