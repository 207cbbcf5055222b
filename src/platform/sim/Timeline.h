// Virtual time: everything that is to happen, in the order in which it falls due.
#pragma once

#include "platform/Clock.h"
#include "platform/Executor.h"
#include "platform/MainQueue.h"
#include "platform/sim/ContractChecker.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <utility>

namespace lentora::sim {

/// Both clocks of the simulated desktop. Time starts at 0 and moves only in `advanceTo`; the time
/// of day is 00:00:00.000 plus virtual time.
class Timeline final : public MediaClock, public WallClock {
public:
    using Work = std::function<void()>;

    explicit Timeline(ContractChecker& contracts) : contracts_(contracts) {}

    double now() const override { return now_; }
    TimeOfDay localTimeOfDay() const override;

    /// Queues `work` to run in `role`, `delay` seconds from now.
    void schedule(double delay, ThreadRole role, Work work);

    /// Queues `work` to run in `role` at `time`, which is not in the past.
    void scheduleAt(double time, ThreadRole role, Work work);

    /// Runs everything due up to and including `time`, in order of due time and then of
    /// scheduling, and leaves the clock at `time`. What is scheduled on the way counts.
    void advanceTo(double time);

    /// Runs what is due now.
    void settle() { advanceTo(now_); }

    std::size_t pendingCount() const { return entries_.size(); }

    /// Drops everything that has not run, and what that posts as it goes.
    void clear();

private:
    struct Entry {
        ThreadRole role;
        Work work;
    };

    ContractChecker& contracts_;
    double now_ = 0;
    std::uint64_t nextSequence_ = 0;
    std::map<std::pair<double, std::uint64_t>, Entry> entries_;
};

class SimMainQueue final : public MainQueue {
public:
    explicit SimMainQueue(Timeline& timeline) : timeline_(timeline) {}

    void post(Work work) override { postAfter(0, std::move(work)); }
    void postAfter(double seconds, Work work) override {
        timeline_.schedule(seconds, ThreadRole::main, std::move(work));
    }

private:
    Timeline& timeline_;
};

class SimBackgroundExecutor final : public BackgroundExecutor {
public:
    explicit SimBackgroundExecutor(Timeline& timeline) : timeline_(timeline) {}

    void post(Work work) override { postAfter(0, std::move(work)); }
    void postAfter(double seconds, Work work) override {
        timeline_.schedule(seconds, ThreadRole::background, std::move(work));
    }

private:
    Timeline& timeline_;
};

/// The log's queue. Work runs at once, so that a line is in the log when it is logged.
class SimLogQueue final : public SerialQueue {
public:
    explicit SimLogQueue(ContractChecker& contracts) : contracts_(contracts) {}

    void post(Work work) override;
    void runAndWait(Work work) override;

private:
    ContractChecker& contracts_;
    bool running_ = false;
    std::deque<Work> queued_;
};

} // namespace lentora::sim
