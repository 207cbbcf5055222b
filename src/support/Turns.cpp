#include "support/Turns.h"

#include <deque>
#include <mutex>
#include <utility>

namespace lentora {

struct Turns::State {
    std::mutex mutex;
    bool taken = false;
    std::deque<Granted> waiting;
};

Turns::Turns() : state_(std::make_shared<State>()) {}

void Turns::ask(Granted granted) {
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->taken) {
            state_->waiting.push_back(std::move(granted));
            return;
        }
        state_->taken = true;
    }
    granted(std::make_shared<Turn>(state_));
}

Turns::Turn::Turn(std::shared_ptr<State> state) : state_(std::move(state)) {}

Turns::Turn::~Turn() {
    if (!state_)
        return;
    // Destroyed after the lock is released: those who wait may hold turns of other operations.
    std::deque<Granted> dropped;
    const std::lock_guard lock(state_->mutex);
    state_->taken = false;
    dropped.swap(state_->waiting);
}

void Turns::Turn::pass() {
    const std::shared_ptr<State> state = std::exchange(state_, nullptr);
    Granted next;
    {
        const std::lock_guard lock(state->mutex);
        if (state->waiting.empty()) {
            state->taken = false;
            return;
        }
        next = std::move(state->waiting.front());
        state->waiting.pop_front();
    }
    next(std::make_shared<Turn>(state));
}

} // namespace lentora
