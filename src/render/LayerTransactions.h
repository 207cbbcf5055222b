// Changes of layers come in transactions, which say whether what changes moves there or jumps.
#pragma once

#include "platform/Clock.h"
#include "platform/MainQueue.h"
#include "render/Animation.h"

#include <functional>
#include <optional>

namespace lentora {

/// The clock that movements run by, and the transaction that is open. Layers that are shown
/// together share one, which outlives them. Main thread.
///
/// Outside of any transaction, changes take effect at once. Transactions can be nested; the inner
/// one holds.
class LayerTransactions {
public:
    LayerTransactions(const MediaClock& clock, MainQueue& mainQueue)
        : clock_(clock), mainQueue_(mainQueue) {}

    /// What `changes` changes takes effect at once, also inside of an animated transaction.
    void withoutAnimation(const std::function<void()>& changes);

    /// What `changes` changes moves there from what is seen now. `completion` runs as work on the
    /// main queue when the time is over, whatever became of the movements in the meantime.
    void animated(const Transition& transition, const std::function<void()>& changes,
                  std::function<void()> completion = {});

    double now() const { return clock_.now(); }

    /// How what is changed now moves; nothing when it jumps.
    const std::optional<Transition>& current() const { return current_; }

private:
    void run(std::optional<Transition> transition, const std::function<void()>& changes);

    const MediaClock& clock_;
    MainQueue& mainQueue_;
    std::optional<Transition> current_;
};

} // namespace lentora
