// Random scenarios through the whole session. A failure prints a scenario, as short as it gets,
// that `lentora replay` can run. LENTORA_SESSION_WALK_STEPS sets how many steps are taken,
// LENTORA_SESSION_WALK_SEED the first seed.
#include "zoom/SessionScenarioWriter.h"
#include "zoom/SessionWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace lentora::replay {
namespace {

constexpr int defaultSteps = 10'000;

Scenario scenarioFrom(const std::string& text) {
    const auto scenario = readScenario(text);
    if (const auto* error = std::get_if<ScenarioError>(&scenario)) {
        ADD_FAILURE() << error->pointer << ": " << error->message << "\n" << text;
        return {};
    }
    return std::get<Scenario>(scenario);
}

struct Failure {
    std::vector<Fault> faults;
    /// The text of a scenario that fails so, with the steps that it takes.
    std::string scenario;
};

std::optional<Fault> firstFault(const std::string& text, const Invariant& invariant) {
    const Scenario scenario = scenarioFrom(text);
    Visits unused;
    SessionWatch watch(scenario, unused, invariant);
    return watch.run() ? std::optional(watch.faults.front()) : std::nullopt;
}

// What is left of `steps`, of which `fault` comes, without those that it comes without.
std::vector<std::string> shortened(const test::SessionScenarioWriter& writer,
                                   std::vector<std::string> steps, const Fault& fault,
                                   const Invariant& invariant) {
    // What is left out last may have been all that an earlier one was needed for.
    std::size_t before = 0;
    do {
        before = steps.size();
        for (std::size_t i = steps.size(); i-- > 0;) {
            std::vector<std::string> fewer = steps;
            fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
            const auto other = firstFault(writer.text(fewer), invariant);
            if (other && other->what == fault.what)
                steps = std::move(fewer);
        }
    } while (steps.size() < before);
    return steps;
}

std::optional<Failure> walk(int seed, Visits& visits, const Invariant& invariant = {}) {
    const test::SessionScenarioWriter writer(static_cast<std::uint32_t>(seed));
    const Scenario scenario = scenarioFrom(writer.text(writer.steps()));
    SessionWatch watch(scenario, visits, invariant);
    const auto taken = watch.run();
    if (!taken)
        return std::nullopt;
    std::vector<std::string> failing = writer.steps();
    failing.resize(*taken);
    failing = shortened(writer, std::move(failing), watch.faults.front(), invariant);
    return Failure{watch.faults, writer.text(failing)};
}

int numberFrom(const char* variable, int otherwise) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::atoi(text) : otherwise;
}

TEST(SessionRandomWalk, KeepsWhatMustHoldAndTheContracts) {
    const int steps = numberFrom("LENTORA_SESSION_WALK_STEPS", defaultSteps);
    const int first = numberFrom("LENTORA_SESSION_WALK_SEED", 1);
    Visits visits;
    for (int walked = 0; walked < steps; walked += test::stepsPerScenario) {
        const int seed = first + walked / test::stepsPerScenario;
        if (const auto failure = walk(seed, visits))
            FAIL() << "seed " << seed << ": " << testing::PrintToString(failure->faults)
                   << "\nTo be replayed:\n"
                   << failure->scenario;
    }
    // A short walk may miss the rare ones.
    if (steps < defaultSteps)
        return;
    for (const auto& [place, count] : visits) {
        RecordProperty(std::string(place), count);
        EXPECT_GT(count, 0) << "the walk never came by " << place;
    }
}

// Let us say that no lens may be locked. Then the walk finds one, and what it prints shows one.
TEST(SessionRandomWalk, PrintsAScenarioThatFailsInTheSameWay) {
    const Invariant noLock = [](const ZoomController::Snapshot& session) {
        return session.sessionWindowID == 0 || !session.sessionLocked;
    };
    Visits unused;
    std::optional<Failure> failure;
    for (int seed = 1; seed < 100 && !failure; ++seed)
        failure = walk(seed, unused, noLock);
    ASSERT_TRUE(failure);

    const auto again = firstFault(failure->scenario, noLock);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->what, failure->faults.front().what);
    EXPECT_EQ(firstFault(failure->scenario, {}), std::nullopt) << "it has to be that fault";

    const Scenario scenario = scenarioFrom(failure->scenario);
    EXPECT_LE(scenario.steps.size(), 8U) << failure->scenario;
    sim::SimTextFiles files;
    std::string trace;
    EXPECT_THAT(replay(scenario, {.home = "",
                                  .files = files,
                                  .print = [&](auto line) { trace.append(line).append("\n"); },
                                  .writePicture = {}}),
                testing::IsEmpty());
    EXPECT_THAT(trace, testing::ContainsRegex("lock ON|locked=true")) << failure->scenario;
}

} // namespace
} // namespace lentora::replay
