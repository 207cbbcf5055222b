// The event-tap backend on a simulated desktop, with verbs for input and a record of what it told
// its delegate.
#pragma once

#include "input/CGEventTapInputBackend.h"
#include "platform/sim/SimDesktop.h"
#include "support/Log.h"
#include "support/Text.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

/// Writes every operation down as a word and its argument: "engage 0.040", "gate on".
class RecordingDelegate final : public InputBackendDelegate {
public:
    explicit RecordingDelegate(sim::ContractChecker& contracts) : contracts_(contracts) {}

    void inputDidEngage(double magnitude) override { note("engage", magnitude); }
    void inputDidUpdatePinch(double cumulative) override { note("pinch", cumulative); }
    void inputDidRelease(ReleaseReason reason) override {
        note("release " + std::string(toString(reason)));
    }
    void inputGateChanged(bool active) override { note("gate", active); }
    void inputLockChanged(bool locked) override { note("lock", locked); }
    void inputDetach(bool active) override { note("detach", active); }
    void inputDidRequestRetarget(double magnitude) override { note("retarget", magnitude); }
    void inputArmingChanged(bool armed) override { note("arming", armed); }

    std::vector<std::string> operations;
    /// Called after each operation is written down.
    std::function<void(const std::string&)> onOperation;

private:
    void note(std::string operation) {
        contracts_.requireRole(sim::ThreadRole::main, operation);
        operations.push_back(operation);
        if (onOperation)
            onOperation(operation);
    }
    void note(const char* word, double value) {
        note(std::string(word) + " " + text::fixed(value, 3));
    }
    void note(const char* word, bool value) { note(std::string(word) + (value ? " on" : " off")); }

    sim::ContractChecker& contracts_;
};

inline constexpr EventFlags optionHeld = eventFlag::option | eventFlag::leftOption;
inline constexpr EventFlags commandHeld = eventFlag::command | eventFlag::leftCommand;

class BackendHarness {
public:
    explicit BackendHarness(TapLocation location = TapLocation::session) {
        desktop.unifiedLog.onRecord = [this](const LogRecord& record) {
            logLines.push_back(record.category + ": " + record.message);
        };
        log = std::make_unique<Log>(Log::Services{files, desktop.logQueue, desktop.unifiedLog,
                                                  desktop.timeline, desktop.mainQueue},
                                    "/logs");
        backend = CGEventTapInputBackend::create(
            {desktop.eventTap, desktop.mainQueue, desktop.executor, desktop.timeline, *log},
            location);
        delegate = std::make_shared<RecordingDelegate>(desktop.contracts);
        backend->setDelegate(delegate);
        backend->setOnHotKeyDown([this] { delegate->operations.push_back("hotKey down"); });
        backend->setOnHotKeyUp([this] { delegate->operations.push_back("hotKey up"); });
    }

    ~BackendHarness() {
        backend->stop();
        desktop.timeline.settle();
        desktop.checkNothingLeft();
        EXPECT_THAT(desktop.contracts.violations(), testing::IsEmpty());
    }

    void start() {
        backend->start();
        desktop.timeline.settle();
        logLines.clear();
    }

    void at(double time) { desktop.timeline.advanceTo(time); }

    /// Delivers an event and runs what follows from it. Whether the event was swallowed; an event
    /// that does not reach the tap is not.
    bool deliver(InputEvent& event) {
        const bool swallowed = desktop.eventTap.deliver(event).value_or(false);
        desktop.timeline.settle();
        return swallowed;
    }
    bool deliver(InputEvent&& event) { return deliver(event); }

    void flags(EventFlags flags) { deliver({.type = EventType::flagsChanged, .flags = flags}); }
    bool magnify(double delta) {
        return deliver({.type = EventType::magnify, .magnification = delta});
    }
    bool keyDown(std::uint16_t code, EventFlags flags = 0, bool repeat = false) {
        return deliver(
            {.type = EventType::keyDown, .flags = flags, .keyCode = code, .isAutorepeat = repeat});
    }
    bool keyUp(std::uint16_t code, EventFlags flags = 0) {
        return deliver({.type = EventType::keyUp, .flags = flags, .keyCode = code});
    }

    /// A gate press of 0.1 s that begins now.
    void click(EventFlags held = optionHeld) {
        flags(held);
        at(desktop.timeline.now() + 0.1);
        flags(0);
    }

    /// Double press, hold, pinch, let go: the lens is locked, with a cumulative 0.1.
    void lock() {
        click();
        flags(optionHeld);
        magnify(0.1);
        flags(0);
        at(desktop.timeline.now() + 1);
        delegate->operations.clear();
        logLines.clear();
    }

    /// What the delegate was told since the last call.
    std::vector<std::string> taken() { return std::exchange(delegate->operations, {}); }
    std::vector<std::string> takenLog() { return std::exchange(logLines, {}); }

    sim::SimDesktop desktop;
    sim::SimTextFiles files;
    std::vector<std::string> logLines;
    std::unique_ptr<Log> log;
    std::shared_ptr<RecordingDelegate> delegate;
    std::shared_ptr<CGEventTapInputBackend> backend;
};

} // namespace lentora::test
