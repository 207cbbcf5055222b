// Asynchronous steps as coroutines. A step that waits for the platform suspends, and goes on as
// work posted to a queue, so the code between two suspensions always runs on the queue's thread.
// A step whose answer never comes is taken apart, locals and all: on that thread as well, or where
// its queue has ended, on the one that would have posted.
#pragma once

#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace lentora {

namespace detail {

struct PromiseBase {
    /// Goes on when this coroutine ends.
    std::coroutine_handle<> continuation;
    /// The outermost coroutine, which owns this one.
    std::coroutine_handle<> root;

    struct FinalAwaiter {
        bool await_ready() const noexcept { return false; }
        template <typename Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> ended) const noexcept {
            return ended.promise().continuation;
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    // Failures are results; what throws nevertheless is a fault of the program.
    [[noreturn]] void unhandled_exception() const noexcept { std::terminate(); }
};

template <typename T>
struct Promise : PromiseBase {
    std::optional<T> value;
    auto get_return_object() { return std::coroutine_handle<Promise>::from_promise(*this); }
    void return_value(T result) { value.emplace(std::move(result)); }
    T take() { return std::move(*value); }
};

template <>
struct Promise<void> : PromiseBase {
    auto get_return_object() { return std::coroutine_handle<Promise>::from_promise(*this); }
    void return_void() const noexcept {}
    void take() const noexcept {}
};

/// Lets a suspended coroutine go on, once. When it never comes to that (the queue that was to run
/// it has ended), the coroutine and all that wait for it are taken apart instead.
class Resumption {
public:
    Resumption(std::coroutine_handle<> suspended, std::coroutine_handle<> root)
        : suspended_(suspended), root_(root) {}
    ~Resumption() {
        if (suspended_)
            root_.destroy();
    }
    Resumption(const Resumption&) = delete;
    Resumption& operator=(const Resumption&) = delete;

    void resume() { std::exchange(suspended_, {}).resume(); }

private:
    std::coroutine_handle<> suspended_;
    std::coroutine_handle<> root_;
};

} // namespace detail

/// An operation with a result, written as a coroutine. It begins when it is awaited, and is taken
/// apart with the object.
template <typename T>
class [[nodiscard]] Task {
public:
    using promise_type = detail::Promise<T>;

    // NOLINTNEXTLINE(google-explicit-constructor): what the coroutine's first line returns.
    Task(std::coroutine_handle<promise_type> coroutine) : coroutine_(coroutine) {}
    Task(Task&& other) noexcept : coroutine_(std::exchange(other.coroutine_, {})) {}
    Task& operator=(Task&& other) = delete;
    ~Task() {
        if (coroutine_)
            coroutine_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> awaiting) noexcept {
        coroutine_.promise().continuation = awaiting;
        coroutine_.promise().root = awaiting.promise().root;
        return coroutine_;
    }
    T await_resume() { return coroutine_.promise().take(); }

private:
    std::coroutine_handle<promise_type> coroutine_;
};

namespace detail {

struct Detached {
    struct promise_type {
        std::coroutine_handle<> root = std::coroutine_handle<promise_type>::from_promise(*this);
        Detached get_return_object() const noexcept { return {}; }
        std::suspend_never initial_suspend() const noexcept { return {}; }
        std::suspend_never final_suspend() const noexcept { return {}; }
        void return_void() const noexcept {}
        [[noreturn]] void unhandled_exception() const noexcept { std::terminate(); }
    };
};

inline Detached runToItsEnd(Task<void> task) {
    co_await std::move(task);
}

/// What a callback leads to, shared by its copies.
template <typename Queue, typename T>
class PendingAnswer {
public:
    PendingAnswer(Queue& queue, std::optional<T>* slot, std::shared_ptr<Resumption> resumption)
        : queue_(queue), slot_(slot), resumption_(std::move(resumption)) {}
    ~PendingAnswer() {
        if (resumption_)
            queue_.post([dropped = std::move(resumption_)] {});
    }
    PendingAnswer(const PendingAnswer&) = delete;
    PendingAnswer& operator=(const PendingAnswer&) = delete;

    // A second answer finds nobody waiting.
    void give(T answer) {
        if (!resumption_)
            return;
        queue_.post([slot = slot_, resumption = std::exchange(resumption_, nullptr),
                     answer = std::move(answer)] {
            slot->emplace(answer);
            resumption->resume();
        });
    }

private:
    Queue& queue_;
    std::optional<T>* slot_;
    std::shared_ptr<Resumption> resumption_;
};

template <typename Queue, typename T>
class AnswerAwaiter {
public:
    using Start = std::function<void(std::function<void(T)>)>;

    AnswerAwaiter(Queue& queue, Start start) : queue_(queue), start_(std::move(start)) {}

    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    void await_suspend(std::coroutine_handle<Promise> suspended) {
        auto pending = std::make_shared<PendingAnswer<Queue, T>>(
            queue_, &answer_, std::make_shared<Resumption>(suspended, suspended.promise().root));
        // The coroutine may go on, and end, before `start` returns: nothing of it is used then.
        const Start start = std::move(start_);
        start([pending = std::move(pending)](T answer) { pending->give(std::move(answer)); });
    }
    T await_resume() { return std::move(*answer_); }

private:
    Queue& queue_;
    Start start_;
    std::optional<T> answer_;
};

template <typename Queue>
class QueueAwaiter {
public:
    explicit QueueAwaiter(Queue& queue) : queue_(queue) {}

    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    void await_suspend(std::coroutine_handle<Promise> suspended) {
        queue_.post([resumption = std::make_shared<Resumption>(
                         suspended, suspended.promise().root)] { resumption->resume(); });
    }
    void await_resume() const noexcept {}

private:
    Queue& queue_;
};

} // namespace detail

/// Begins `task` on the calling thread and lets it run to its end by itself.
inline void startDetached(Task<void> task) {
    detail::runToItsEnd(std::move(task));
}

/// `co_await continueOn(queue)`: what follows runs as work posted to `queue`.
template <typename Queue>
detail::QueueAwaiter<Queue> continueOn(Queue& queue) {
    return detail::QueueAwaiter<Queue>(queue);
}

/// `T answer = co_await answerOf<T>(queue, start)`: calls `start` with a callback, and goes on as
/// work posted to `queue` once the callback was called, on whatever thread; once is enough, and
/// one that is dropped uncalled ends the waiting. The queue outlives the callback.
///
/// A `start` that captures more than references and pointers is to be written in an ordinary
/// function that returns this: g++ 12 destroys temporaries without a constructor of their own,
/// closures above all, twice when they stand in a co_await expression.
template <typename T, typename Queue>
detail::AnswerAwaiter<Queue, T> answerOf(Queue& queue,
                                         std::function<void(std::function<void(T)>)> start) {
    return detail::AnswerAwaiter<Queue, T>(queue, std::move(start));
}

} // namespace lentora
