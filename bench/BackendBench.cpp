// What the core costs inside the system's event path: one call of `handle`.
#include "input/CGEventTapInputBackend.h"
#include "platform/sim/SimDesktop.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace lentora {
namespace {

// Keeps posted work, as a queue whose thread is busy elsewhere does.
class HoldingMainQueue final : public MainQueue {
public:
    void post(Work work) override {
        if (work_.size() == work_.capacity())
            work_.clear();
        work_.push_back(std::move(work));
    }
    void postAfter(double /*seconds*/, Work work) override { post(std::move(work)); }

private:
    std::vector<Work> work_ = [] {
        std::vector<Work> work;
        work.reserve(1024);
        return work;
    }();
};

class SilentDelegate final : public InputBackendDelegate {
    void inputDidEngage(double /*magnitude*/) override {}
    void inputDidUpdatePinch(double /*cumulative*/) override {}
    void inputDidRelease(ReleaseReason /*reason*/) override {}
    void inputGateChanged(bool /*active*/) override {}
    void inputLockChanged(bool /*locked*/) override {}
    void inputDetach(bool /*active*/) override {}
    void inputDidRequestRetarget(double /*magnitude*/) override {}
    void inputArmingChanged(bool /*armed*/) override {}
};

struct Fixture {
    Fixture() {
        backend->setDelegate(delegate);
        InputEvent gate{.type = EventType::flagsChanged, .flags = 0x80020};
        backend->handle(gate);
        InputEvent pinch{.type = EventType::magnify, .magnification = 0.1};
        backend->handle(pinch);
    }

    sim::SimDesktop desktop;
    sim::SimTextFiles files;
    HoldingMainQueue mainQueue;
    Log log{{files, desktop.logQueue, desktop.unifiedLog, desktop.timeline, mainQueue}, "/logs"};
    std::shared_ptr<CGEventTapInputBackend> backend = CGEventTapInputBackend::create(
        {desktop.eventTap, mainQueue, desktop.executor, desktop.timeline, log},
        TapLocation::session);
    std::shared_ptr<SilentDelegate> delegate = std::make_shared<SilentDelegate>();
};

void handlePinchWhileEngaged(benchmark::State& state) {
    Fixture fixture;
    InputEvent pinch{.type = EventType::magnify, .magnification = 1e-6};
    for (auto _ : state)
        benchmark::DoNotOptimize(fixture.backend->handle(pinch));
}
BENCHMARK(handlePinchWhileEngaged);

void handleKeyThatPasses(benchmark::State& state) {
    Fixture fixture;
    fixture.backend->setHotKey(HotKey{});
    InputEvent key{.type = EventType::keyDown, .keyCode = 0};
    for (auto _ : state)
        benchmark::DoNotOptimize(fixture.backend->handle(key));
}
BENCHMARK(handleKeyThatPasses);

void handleFlagsWithoutChange(benchmark::State& state) {
    Fixture fixture;
    InputEvent flags{.type = EventType::flagsChanged, .flags = 0x80020};
    for (auto _ : state)
        benchmark::DoNotOptimize(fixture.backend->handle(flags));
}
BENCHMARK(handleFlagsWithoutChange);

} // namespace
} // namespace lentora
