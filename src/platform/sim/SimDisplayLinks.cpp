#include "platform/sim/SimDisplayLinks.h"

#include <cmath>
#include <utility>

namespace lentora::sim {

// As on a real system, the refresh after the first wish for a rest still comes: the pointer may
// have moved before somebody listened to it.
struct SimDisplayLinks::Beat {
    enum class Pace { beating, listening, resting };

    void wake() {
        mayRest = false;
        if (pace == Pace::resting)
            pace = Pace::beating;
    }

    bool restsAt(Point pointer) {
        // It lies where it did when the rest began, or it has moved.
        if (pace == Pace::resting && pointer != restingPointer)
            wake();
        return pace == Pace::resting;
    }

    void call(double time) {
        mayRest = false;
        onRefresh({.timestamp = time,
                   .isAfterRest = lastLeftOut > 0,
                   .lastLeftOut = std::exchange(lastLeftOut, 0)});
    }

    void settle(Point pointer) {
        if (!mayRest) {
            pace = Pace::beating;
            return;
        }
        pace = pace == Pace::beating ? Pace::listening : Pace::resting;
        restingPointer = pointer;
    }

    OnRefresh onRefresh;
    Pace pace = Pace::beating;
    bool mayRest = false;
    Point restingPointer = {};
    /// Since the last call; 0 for none.
    double lastLeftOut = 0;
};

class SimDisplayLinks::Link final : public DisplayLink {
public:
    Link(SimDisplayLinks& service, std::shared_ptr<Beat> beat)
        : service_(service), beat_(std::move(beat)) {
        ++service_.runningCount_;
    }
    ~Link() override {
        service_.contracts_.requireRole(ThreadRole::main, "the end of a DisplayLink");
        --service_.runningCount_;
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    void follow(const Rect& display) override {
        // They all refresh together.
        service_.contracts_.requireRole(ThreadRole::main, "DisplayLink::follow");
        service_.display_ = display;
    }

    void restUntilPointerMoves() override {
        service_.contracts_.requireRole(ThreadRole::main, "DisplayLink::restUntilPointerMoves");
        beat_->mayRest = !service_.restless;
    }

    void wake() override {
        service_.contracts_.requireRole(ThreadRole::main, "DisplayLink::wake");
        beat_->wake();
    }

private:
    SimDisplayLinks& service_;
    const std::shared_ptr<Beat> beat_;
};

std::unique_ptr<DisplayLink> SimDisplayLinks::start(const Rect& display, OnRefresh onRefresh) {
    contracts_.requireRole(ThreadRole::main, "DisplayLinks::start");
    display_ = display;
    auto beat = std::make_shared<Beat>(Beat{.onRefresh = std::move(onRefresh)});
    scheduleNext(beat);
    return std::make_unique<Link>(*this, std::move(beat));
}

void SimDisplayLinks::scheduleNext(const std::shared_ptr<Beat>& beat) {
    const double refresh = state_.timing.refresh;
    double count = std::floor(timeline_.now() * refresh) + 1;
    // Rounded, the refresh of just now can come out as the next one.
    if (count / refresh <= timeline_.now())
        ++count;
    const double time = count / refresh;
    timeline_.scheduleAt(time, ThreadRole::main, [this, weak = std::weak_ptr<Beat>(beat), time] {
        // Held, because the call may let go of the link.
        const auto held = weak.lock();
        if (!held)
            return;
        if (held->restsAt(state_.pointer)) {
            held->lastLeftOut = time;
            return scheduleNext(held);
        }
        ++beatCount_;
        held->call(time);
        held->settle(state_.pointer);
        if (held.use_count() > 1)
            scheduleNext(held);
    });
}

} // namespace lentora::sim
