#include "platform/sim/SimDisplayLinks.h"

#include <cmath>
#include <utility>

namespace lentora::sim {

struct SimDisplayLinks::Beat {
    OnRefresh onRefresh;
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

    void follow(const Rect& /*display*/) override {
        // They all refresh together.
        service_.contracts_.requireRole(ThreadRole::main, "DisplayLink::follow");
    }

private:
    SimDisplayLinks& service_;
    const std::shared_ptr<Beat> beat_;
};

std::unique_ptr<DisplayLink> SimDisplayLinks::start(const Rect& /*display*/, OnRefresh onRefresh) {
    contracts_.requireRole(ThreadRole::main, "DisplayLinks::start");
    auto beat = std::make_shared<Beat>(Beat{std::move(onRefresh)});
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
        held->onRefresh(time);
        if (held.use_count() > 1)
            scheduleNext(held);
    });
}

} // namespace lentora::sim
