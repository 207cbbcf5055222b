#include "render/LayerTransactions.h"

#include <utility>

namespace lentora {

void LayerTransactions::withoutAnimation(const std::function<void()>& changes) {
    run(std::nullopt, changes);
}

void LayerTransactions::animated(const Transition& transition, const std::function<void()>& changes,
                                 std::function<void()> completion) {
    run(transition, changes);
    if (completion)
        mainQueue_.postAfter(transition.duration, std::move(completion));
}

void LayerTransactions::run(std::optional<Transition> transition,
                            const std::function<void()>& changes) {
    const auto outer = std::exchange(current_, transition);
    changes();
    current_ = outer;
}

} // namespace lentora
