// The main thread of a test: a queue, timers and file descriptors, run while the test waits.
#pragma once

#include "platform/MainQueue.h"
#include "platform/posix/DescriptorWatch.h"
#include "platform/posix/PosixClock.h"

#include <poll.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace lentora::test {

class TestLoop final : public MainQueue, public posix::DescriptorWatches {
public:
    // MainQueue.
    void post(Work work) override { postAfter(0, std::move(work)); }
    void postAfter(double seconds, Work work) override {
        const std::lock_guard lock(mutex_);
        work_.push_back({clock_.now() + seconds, std::move(work)});
    }

    // DescriptorWatches.
    std::unique_ptr<posix::DescriptorWatch> watch(int descriptor,
                                                  std::function<void()> readable) override {
        return std::make_unique<Watch>(*this, descriptor, std::move(readable));
    }

    const MediaClock& clock() const { return clock_; }

    /// Runs until `isDone` says so. False when that takes longer than anything should.
    bool runUntil(const std::function<bool()>& isDone, double limit = 10) {
        const double end = clock_.now() + limit;
        while (!isDone()) {
            if (clock_.now() > end)
                return false;
            runOnce(std::min(end - clock_.now(), 0.01));
        }
        return true;
    }

    /// Runs for a while, whatever happens.
    void runFor(double seconds) {
        runUntil([] { return false; }, seconds);
    }

    /// Runs until nothing has happened for `seconds`.
    void runUntilQuiet(double seconds = 0.05) {
        double last = clock_.now();
        runUntil([&] {
            if (std::exchange(hasWorked_, false))
                last = clock_.now();
            return clock_.now() - last >= seconds;
        });
    }

private:
    struct Watch final : public posix::DescriptorWatch {
        Watch(TestLoop& ownLoop, int watched, std::function<void()> handler)
            : loop(ownLoop), descriptor(watched), readable(std::move(handler)) {
            loop.watches_.push_back(this);
        }
        ~Watch() override { std::erase(loop.watches_, this); }
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

        TestLoop& loop;
        const int descriptor;
        const std::function<void()> readable;
    };
    struct Timed {
        double due = 0;
        Work work;
    };

    // The earliest that is due.
    Work takeDue() {
        const std::lock_guard lock(mutex_);
        const auto earliest = std::ranges::min_element(work_, {}, &Timed::due);
        if (earliest == work_.end() || earliest->due > clock_.now())
            return {};
        Work work = std::move(earliest->work);
        work_.erase(earliest);
        return work;
    }

    double untilNext(double limit) {
        const std::lock_guard lock(mutex_);
        for (const Timed& timed : work_)
            limit = std::min(limit, timed.due - clock_.now());
        return std::max(limit, 0.0);
    }

    void runOnce(double patience) {
        if (const Work work = takeDue()) {
            hasWorked_ = true;
            work();
            return;
        }
        std::vector<pollfd> sources;
        for (const Watch* watch : watches_)
            sources.push_back({watch->descriptor, POLLIN, 0});
        ::poll(sources.data(), sources.size(),
               static_cast<int>(std::ceil(untilNext(patience) * 1000)));
        for (const pollfd& source : sources) {
            if (source.revents == 0)
                continue;
            hasWorked_ = true;
            const auto watch = std::ranges::find(watches_, source.fd, &Watch::descriptor);
            if (watch != watches_.end())
                (*watch)->readable();
        }
    }

    posix::PosixMediaClock clock_;
    std::mutex mutex_;
    std::deque<Timed> work_;
    std::vector<Watch*> watches_;
    bool hasWorked_ = false;
};

} // namespace lentora::test
