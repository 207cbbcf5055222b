// Turns for asynchronous operations that must not overlap although each waits several times on its
// way. A mutex cannot do that: whoever waits for the platform holds no thread.
#pragma once

#include "support/Task.h"

#include <functional>
#include <memory>
#include <utility>

namespace lentora {

class Turns {
    struct State;

public:
    /// The right to go on. Hand it on with `pass` when the operation is over. A turn that is let
    /// go of otherwise belonged to an operation that was taken apart on its way; then those that
    /// wait behind it are dropped uncalled, because what was to run them ends as well.
    class Turn {
    public:
        explicit Turn(std::shared_ptr<State> state);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        /// Once.
        void pass();

    private:
        std::shared_ptr<State> state_;
    };

    using Granted = std::function<void(std::shared_ptr<Turn>)>;

    Turns();

    /// Calls `granted` when everyone who asked before has passed the turn on: at once, or in a
    /// later `pass`, on whatever thread that is. Any thread.
    void ask(Granted granted);

    /// `const auto turn = co_await turns.next(queue)`: what follows has the turn, and runs as work
    /// posted to `queue`. The order is that of the calls.
    template <typename Queue>
    auto next(Queue& queue) {
        return answerOf<std::shared_ptr<Turn>>(
            queue, [this](Granted granted) { ask(std::move(granted)); });
    }

private:
    std::shared_ptr<State> state_;
};

} // namespace lentora
