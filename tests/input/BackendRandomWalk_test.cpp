// Random sequences of input, configuration and calls through the backend, with what must hold
// whatever happens. A failure names the seed; LENTORA_WALK_SEEDS sets how many seeds are walked.
#include "input/BackendHarness.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>

namespace lentora::test {
namespace {

constexpr int defaultSeeds = 10'000;
constexpr int stepsPerSeed = 60;

// Follows the delegate's operations and notes the ones that make no sense where they come.
class DelegateModel {
public:
    // Operations may arrive while a lens is open that a debugging call opened.
    void follow(const std::string& operation) {
        const std::string word = operation.substr(0, operation.find(' '));
        if (word == "engage") {
            engaged_ = true;
        } else if (word == "pinch" || word == "release") {
            if (!engaged_ && !justForgotten_)
                fail(operation, "no lens is engaged");
            if (word == "release")
                engaged_ = false;
            // A forced release leaves a double press on the locked lens pending.
            retargetPending_ = operation == "release manual";
        } else if (word == "retarget") {
            if (!engaged_ && !justForgotten_ && !retargetPending_)
                fail(operation, "no lens is engaged");
        } else if (word == "gate") {
            change(gate_, operation);
        } else if (word == "lock") {
            change(locked_, operation);
        } else if (word == "arming") {
            change(armed_, operation);
        } else if (word == "detach") {
            change(detached_, operation);
            if (detached_ && !locked_)
                fail(operation, "the lens is not locked");
        }
    }

    // Cancelling tells the delegate nothing of the lens; what was posted before still arrives.
    void forgetLens() {
        engaged_ = false;
        justForgotten_ = true;
    }
    void queueIsEmpty() { justForgotten_ = false; }
    void forgetAll() { *this = DelegateModel{std::move(faults)}; }

    bool gate() const { return gate_; }
    bool locked() const { return locked_; }
    bool engaged() const { return engaged_; }

    std::vector<std::string> faults;

private:
    void fail(const std::string& operation, const char* why) {
        faults.push_back(operation + ": " + why);
    }

    void change(bool& value, const std::string& operation) {
        const bool now = operation.ends_with(" on");
        if (now == value)
            fail(operation, "is no change");
        value = now;
    }

    bool engaged_ = false;
    bool justForgotten_ = false;
    bool retargetPending_ = false;
    bool gate_ = false;
    bool locked_ = false;
    bool armed_ = false;
    bool detached_ = false;

public:
    DelegateModel() = default;
    explicit DelegateModel(std::vector<std::string> kept) : faults(std::move(kept)) {}
};

class Walk {
public:
    explicit Walk(std::uint32_t seed) : random_(seed) {
        harness_.backend->setHotKey(HotKey{});
        harness_.onOperation = [this](const std::string& operation) {
            if (operation.starts_with("hotKey"))
                return;
            model_.follow(operation);
            // As the session does when it refuses a lens.
            if (operation.starts_with("engage") && chance(10)) {
                model_.forgetLens();
                harness_.backend->cancelEngage();
            }
        };
        harness_.start();
    }

    void run() {
        for (int i = 0; i < stepsPerSeed && !testing::Test::HasFailure(); ++i) {
            step();
            harness_.desktop.timeline.settle();
            model_.queueIsEmpty();
            check();
        }
        stop();
    }

private:
    int below(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }
    bool chance(int oneIn) { return below(oneIn) == 0; }

    void step() {
        static constexpr std::array<double, 8> pauses{0, 0, 0.05, 0.1, 0.2, 0.24, 0.3, 0.6};
        harness_.at(harness_.desktop.timeline.now() +
                    pauses[static_cast<std::size_t>(below(pauses.size()))]);
        const int choice = below(100);
        if (choice < 40)
            toggleModifier();
        else if (choice < 70)
            harness_.magnify((below(13) - 4) * 0.01);
        else if (choice < 90)
            key();
        else
            rareStep();
    }

    void toggleModifier() {
        static constexpr std::array<EventFlags, 4> modifiers{
            optionHeld, eventFlag::option | eventFlag::rightOption, commandHeld,
            eventFlag::control | eventFlag::leftControl};
        // The gate is the most interesting key.
        held_ ^= chance(2) ? modifiers[0] : modifiers[static_cast<std::size_t>(below(4))];
        harness_.flags(held_);
    }

    void key() {
        static constexpr std::array<std::uint16_t, 4> codes{keyCode::escape, keyCode::tab, 6, 0};
        const auto code = codes[static_cast<std::size_t>(below(4))];
        const EventFlags flags = chance(2) ? held_ : eventFlag::control | eventFlag::shift;
        if (chance(3))
            harness_.keyUp(code, flags);
        else
            harness_.keyDown(code, flags, chance(5));
    }

    void rareStep() {
        CGEventTapInputBackend& backend = *harness_.backend;
        switch (below(10)) {
        case 0:
            return backend.debugForceEngage();
        case 1:
            return backend.forceRelease();
        case 2:
            model_.forgetLens();
            return backend.cancelEngage();
        case 3:
            stop();
            return harness_.start();
        case 4:
            return backend.setGate(allGateModifiers()[static_cast<std::size_t>(below(9))]);
        case 5:
            return backend.setGate(GateModifier::option);
        case 6:
            return backend.setPinchEnabled(!chance(3));
        case 7:
            harness_.deliver({.type = EventType::tapDisabledByTimeout});
            return;
        case 8:
            harness_.deliver({.type = EventType::leftMouseDown, .flags = held_});
            return;
        default:
            harness_.deliver({.type = EventType::gesture, .isConvertible = false});
            return;
        }
    }

    void stop() {
        harness_.desktop.timeline.settle();
        harness_.backend->stop();
        harness_.desktop.timeline.settle();
        model_.forgetAll();
        check();
        const auto state = harness_.backend->snapshot();
        EXPECT_FALSE(state.gateActive || state.engaged || state.locked || state.detached);
        EXPECT_EQ(state.cumulative, 0);
        EXPECT_EQ(harness_.backend->swallowInterest().escape, false);
    }

    // What the delegate was told is where the backend is.
    void check() {
        EXPECT_THAT(model_.faults, testing::IsEmpty());
        const auto state = harness_.backend->snapshot();
        EXPECT_EQ(model_.gate(), state.gateActive);
        EXPECT_EQ(model_.locked(), state.locked);
        EXPECT_EQ(model_.engaged(), state.engaged);
        EXPECT_TRUE(!state.locked || state.gateActive);
        EXPECT_TRUE(!state.detached || state.locked);
    }

    std::mt19937 random_;
    EventFlags held_ = 0;
    DelegateModel model_;
    BackendHarness harness_;
};

TEST(BackendRandomWalk, TellsTheDelegateWhatIsTrueAndOnlyWhenItChanges) {
    const char* wanted = std::getenv("LENTORA_WALK_SEEDS");
    const int seeds = wanted != nullptr ? std::atoi(wanted) : defaultSeeds;
    for (int seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Walk(static_cast<std::uint32_t>(seed)).run();
        if (HasFailure())
            break;
    }
}

} // namespace
} // namespace lentora::test
