#include "platform/posix/ThreadQueues.h"
#include "platform/sim/SimDesktop.h"
#include "support/Task.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

namespace lentora {
namespace {

using sim::ThreadRole;
using testing::ElementsAre;

/// Writes down when it goes.
struct Witness {
    Witness(std::vector<std::string>& notes, std::string name)
        : notes_(notes), name_(std::move(name)) {}
    ~Witness() { notes_.push_back(name_ + " gone"); }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

private:
    std::vector<std::string>& notes_;
    std::string name_;
};

class TaskTest : public testing::Test {
protected:
    using Answer = std::function<void(int)>;

    Task<int> inner(std::function<void(Answer)> ask) {
        const Witness witness(notes, "inner");
        const int answer = co_await answerOf<int>(desktop.executor, std::move(ask));
        note("answered " + std::to_string(answer));
        co_return answer * 2;
    }

    Task<void> outer(std::function<void(Answer)> ask) {
        const Witness witness(notes, "outer");
        const int doubled = co_await inner(std::move(ask));
        note("result " + std::to_string(doubled));
        co_await continueOn(desktop.mainQueue);
        note("end");
    }

    void note(const std::string& text) {
        const ThreadRole role = desktop.contracts.currentRole();
        notes.push_back(text + (role == ThreadRole::main         ? " on main"
                                : role == ThreadRole::background ? " in background"
                                                                 : " elsewhere"));
    }

    std::vector<std::string> notes;
    sim::SimDesktop desktop;
};

TEST_F(TaskTest, GoesOnWhereItSaysAndInOrder) {
    Answer answer;
    startDetached(outer([&](Answer given) { answer = std::move(given); }));
    desktop.timeline.settle();
    EXPECT_THAT(notes, ElementsAre()) << "nobody has answered";
    {
        const sim::ContractChecker::RoleScope scope(desktop.contracts, ThreadRole::service);
        answer(21);
    }
    answer = nullptr;
    note("posted");
    desktop.timeline.settle();
    EXPECT_THAT(notes, ElementsAre("posted on main", "answered 21 in background", "inner gone",
                                   "result 42 in background", "end on main", "outer gone"));
}

TEST_F(TaskTest, TakesAnAnswerThatComesInsideTheQuestion) {
    startDetached(outer([](const Answer& answer) { answer(1); }));
    EXPECT_THAT(notes, ElementsAre()) << "goes on only as posted work";
    desktop.timeline.settle();
    EXPECT_THAT(notes, testing::Contains("end on main"));
}

TEST_F(TaskTest, IsTakenApartWhenItCanNotGoOn) {
    startDetached(outer([](const Answer& /*droppedAtOnce*/) {}));
    desktop.timeline.settle();
    EXPECT_THAT(notes, ElementsAre("inner gone", "outer gone"));

    // Not on the thread that drops the answer, which may be anybody's.
    notes.clear();
    Answer answer;
    startDetached(outer([&](Answer given) { answer = std::move(given); }));
    answer = nullptr;
    EXPECT_THAT(notes, ElementsAre());
    desktop.timeline.settle();
    EXPECT_THAT(notes, ElementsAre("inner gone", "outer gone"));

    notes.clear();
    startDetached(outer([](const Answer& given) { given(1); }));
    desktop.timeline.clear();
    EXPECT_THAT(notes, ElementsAre("inner gone", "outer gone"));
}

TEST_F(TaskTest, ThatNobodyAwaitsDoesNotBegin) {
    {
        const Task<void> task = outer([](const Answer& answer) { answer(1); });
    }
    EXPECT_THAT(notes, ElementsAre());
}

// For the thread sanitizer: answers on threads of their own, and work that races with their end.
TEST(TaskThreads, CarryResultsFromThreadToThread) {
    constexpr int count = 200;
    std::promise<int> sum;
    posix::ThreadExecutor executor(4);
    posix::ThreadExecutor service(2);
    std::atomic<int> total = 0;
    std::atomic<int> ended = 0;
    const auto ask = [&](int number) -> Task<int> {
        co_return co_await answerOf<int>(executor, [&, number](std::function<void(int)> answer) {
            service.post([answer = std::move(answer), number] { answer(number); });
        });
    };
    const auto add = [&](int number) -> Task<void> {
        co_await continueOn(executor);
        total += co_await ask(number);
        if (++ended == count)
            sum.set_value(total);
    };
    for (int i = 0; i < count; ++i)
        startDetached(add(i));
    EXPECT_EQ(sum.get_future().get(), count * (count - 1) / 2);
    // Its threads may still be on their way out of a question.
    executor.end();
}

} // namespace
} // namespace lentora
