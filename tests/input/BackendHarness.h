// The event-tap backend on a simulated desktop, with verbs for input and a record of what it told
// its delegate.
#pragma once

#include "input/CGEventTapInputBackend.h"
#include "input/DelegateRecorder.h"
#include "platform/sim/SimDesktop.h"
#include "support/Log.h"
#include "support/Text.h"

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

/// An operation as a word and its argument: "engage 0.040", "gate on", "release escKey".
inline std::string describe(const DelegateCall& call) {
    static const std::map<std::string_view, std::string> words{
        {"inputDidEngage", "engage"},
        {"inputDidUpdatePinch", "pinch"},
        {"inputDidRelease", "release"},
        {"inputGateChanged", "gate"},
        {"inputLockChanged", "lock"},
        {"inputDetach", "detach"},
        {"inputDidRequestRetarget", "retarget"},
        {"inputArmingChanged", "arming"},
    };
    std::string argument;
    if (const auto* number = std::get_if<double>(&call.argument))
        argument = text::fixed(*number, 3);
    else if (const auto* flag = std::get_if<bool>(&call.argument))
        argument = *flag ? "on" : "off";
    else
        argument = std::get<std::string_view>(call.argument);
    return words.at(call.operation) + " " + argument;
}

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
        delegate = makeDelegate();
        backend->setDelegate(delegate);
        backend->setOnHotKeyDown([this] { operations.push_back("hotKey down"); });
        backend->setOnHotKeyUp([this] { operations.push_back("hotKey up"); });
    }

    ~BackendHarness() {
        backend->stop();
        desktop.timeline.settle();
        desktop.checkNothingLeft();
        EXPECT_THAT(desktop.contracts.violations(), testing::IsEmpty());
    }

    std::shared_ptr<InputBackendDelegate> makeDelegate() {
        return std::make_shared<DelegateRecorder>([this](const DelegateCall& call) {
            desktop.contracts.requireRole(sim::ThreadRole::main, call.operation);
            operations.push_back(describe(call));
            if (onOperation)
                onOperation(operations.back());
        });
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
        operations.clear();
        logLines.clear();
    }

    /// What the delegate was told since the last call.
    std::vector<std::string> taken() { return std::exchange(operations, {}); }
    std::vector<std::string> takenLog() { return std::exchange(logLines, {}); }

    sim::SimDesktop desktop;
    sim::SimTextFiles files;
    std::vector<std::string> logLines;
    std::unique_ptr<Log> log;
    std::vector<std::string> operations;
    /// Called after each operation is written down.
    std::function<void(const std::string&)> onOperation;
    std::shared_ptr<InputBackendDelegate> delegate;
    std::shared_ptr<CGEventTapInputBackend> backend;
};

} // namespace lentora::test
