// The event-tap backend on a real X server, with hands to work the server's devices.
#pragma once

#include "input/BackendHarness.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/x11/X11EventTap.h"
#include "testdesktop/TestDesktop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

using testdesktop::Key;

/// How long a test waits for something that is to happen. It is reached only by a failing test.
inline constexpr std::chrono::seconds patience{10};

/// A main queue that a test works off when it waits for something.
class PumpedMainQueue final : public MainQueue {
public:
    void post(Work work) override {
        {
            const std::lock_guard lock(mutex_);
            queue_.push_back(std::move(work));
        }
        posted_.notify_one();
    }
    void postAfter(double /*seconds*/, Work /*work*/) override {
        ADD_FAILURE() << "nothing in these tests waits by the clock";
    }

    /// Runs work as it comes until `done`. False when that takes too long.
    bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!done()) {
            std::unique_lock lock(mutex_);
            if (!posted_.wait_until(lock, deadline, [&] { return !queue_.empty(); }))
                return false;
            const Work work = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            work();
        }
        return true;
    }

private:
    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<Work> queue_;
};

class TapFixture : public testing::Test {
protected:
    void SetUp() override { startDesktop({}); }

    void TearDown() override {
        if (backend)
            backend->stop();
        if (hands != nullptr)
            hands->releaseAll();
    }

    void startDesktop(const testdesktop::TestDesktopOptions& options) {
        auto start = testdesktop::TestDesktop::start(options);
        ASSERT_TRUE(start.desktop) << start.error;
        desktop = std::move(start.desktop);
        hands = &desktop->injector();
    }

    void startTap(x11::WheelZoom wheelZoom = x11::WheelZoom::automatic,
                  GateModifier gate = GateModifier::option,
                  std::optional<HotKey> hotKey = std::nullopt) {
        started.reset();
        // A log before this one may still be writing.
        logQueue.runAndWait([] {});
        log = std::make_unique<Log>(
            Log::Services{files, logQueue, unifiedLog, wallClock, mainQueue}, "/logs");
        tap = std::make_unique<x11::X11EventTap>(
            x11::X11EventTapOptions{
                .display = desktop->displayName(),
                .wheelZoom = wheelZoom,
                .started =
                    [this](bool installed) {
                        mainQueue.post([this, installed] { started = installed; });
                    },
                .serverLost = [this] { mainQueue.post([this] { serverLost = true; }); },
                .idle =
                    [this] {
                        ++idleCount;
                        idleCount.notify_all();
                    }},
            *log);
        backend = CGEventTapInputBackend::create({*tap, mainQueue, executor, clock, *log},
                                                 TapLocation::session);
        backend->setGate(gate);
        backend->setHotKey(std::move(hotKey));
        delegate = std::make_shared<DelegateRecorder>(
            [this](const DelegateCall& call) { operations.push_back(describe(call)); });
        backend->setDelegate(delegate);
        backend->setOnHotKeyDown([this] { operations.push_back("hotKey down"); });
        backend->setOnHotKeyUp([this] { operations.push_back("hotKey up"); });
        backend->start();
        ASSERT_TRUE(mainQueue.runUntil([&] { return started.has_value(); }));
    }

    void waitUntilIdle() {
        // The first time may have been under way when the tap was woken.
        for (int round = 0; round < 2; ++round) {
            const int before = idleCount.load();
            tap->interestChanged();
            idleCount.wait(before);
        }
    }

    /// Waits until the tap has handled everything that the hands did, and its grabs are in place.
    void settle() {
        waitUntilIdle();
        bool reached = false;
        mainQueue.post([&] { reached = true; });
        mainQueue.runUntil([&] { return reached; });
    }

    /// Waits for an operation to be among those recorded.
    bool await(const std::string& operation) {
        return mainQueue.runUntil(
            [&] { return std::ranges::find(operations, operation) != operations.end(); });
    }

    std::vector<std::string> taken() { return std::exchange(operations, {}); }

    /// The log's lines without their times.
    std::vector<std::string> logged() {
        std::vector<std::string> lines = log->snapshot();
        for (std::string& line : lines)
            line.erase(0, line.find("] ") + 2);
        return lines;
    }

    /// Double press, hold, pinch, let go.
    void lockLens() {
        hands->tap(Key::AltL);
        hands->press(Key::AltL);
        settle();
        hands->pinch({1.0, 1.1});
        hands->release(Key::AltL);
        ASSERT_TRUE(await("lock on"));
        settle();
        taken();
    }

    std::unique_ptr<testdesktop::TestDesktop> desktop;
    testdesktop::InputInjector* hands = nullptr;
    PumpedMainQueue mainQueue;
    sim::SimTextFiles files;
    sim::SimUnifiedLog unifiedLog;
    posix::PosixWallClock wallClock;
    posix::PosixMediaClock clock;
    posix::ThreadExecutor executor{1};
    posix::ThreadSerialQueue logQueue{"lentora.log"};
    std::unique_ptr<Log> log;
    std::unique_ptr<x11::X11EventTap> tap;
    std::shared_ptr<DelegateRecorder> delegate;
    std::shared_ptr<CGEventTapInputBackend> backend;
    std::optional<bool> started;
    std::atomic<int> idleCount{0};
    bool serverLost = false;
    std::vector<std::string> operations;
};

} // namespace lentora::test
