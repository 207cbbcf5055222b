#include "platform/sim/Timeline.h"

#include <cmath>
#include <utility>

namespace lentora::sim {

namespace {

// Work that posts itself again without time passing would run for ever.
constexpr int maxWorkAtOneInstant = 1'000'000;

} // namespace

TimeOfDay Timeline::localTimeOfDay() const {
    // Nudged by less than a nanosecond: 0.3 is stored a little below 300 milliseconds.
    const auto total = static_cast<std::int64_t>(std::floor(now_ * 1000 + 1e-6));
    return {static_cast<int>(total / 3'600'000 % 24), static_cast<int>(total / 60'000 % 60),
            static_cast<int>(total / 1000 % 60), static_cast<int>(total % 1000)};
}

void Timeline::schedule(double delay, ThreadRole role, Work work) {
    if (!(delay >= 0)) {
        contracts_.noteViolation("work scheduled with a negative delay");
        delay = 0;
    }
    scheduleAt(now_ + delay, role, std::move(work));
}

void Timeline::scheduleAt(double time, ThreadRole role, Work work) {
    entries_.emplace(std::pair(time, nextSequence_++), Entry{role, std::move(work)});
}

void Timeline::clear() {
    while (!entries_.empty())
        std::exchange(entries_, {}).clear();
}

void Timeline::advanceTo(double time) {
    int atThisInstant = 0;
    while (!entries_.empty() && entries_.begin()->first.first <= time) {
        auto entry = entries_.extract(entries_.begin());
        const double due = entry.key().first;
        atThisInstant = due > now_ ? 0 : atThisInstant + 1;
        if (atThisInstant > maxWorkAtOneInstant) {
            contracts_.noteViolation("work reposts itself without end");
            clear();
            break;
        }
        if (due > now_)
            now_ = due;
        const ContractChecker::RoleScope scope(contracts_, entry.mapped().role);
        entry.mapped().work();
    }
    if (time > now_)
        now_ = time;
}

void SimLogQueue::post(Work work) {
    queued_.push_back(std::move(work));
    if (running_)
        return;
    running_ = true;
    {
        const ContractChecker::RoleScope scope(contracts_, ThreadRole::log);
        while (!queued_.empty()) {
            const Work next = std::move(queued_.front());
            queued_.pop_front();
            next();
        }
    }
    running_ = false;
}

void SimLogQueue::runAndWait(Work work) {
    if (running_) {
        contracts_.noteViolation("the log's queue waits for itself");
        return;
    }
    post(std::move(work));
}

} // namespace lentora::sim
