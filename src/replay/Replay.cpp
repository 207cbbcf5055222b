#include "replay/Replay.h"

#include "capture/WindowTarget.h"
#include "input/CGEventTapInputBackend.h"
#include "input/DelegateRecorder.h"
#include "replay/Trace.h"
#include "support/Log.h"
#include "support/Settings.h"
#include "support/Task.h"

#include <memory>
#include <utility>

namespace lentora::replay {

namespace {

TraceObject targetLine(double time, const WindowTarget::Result& result) {
    TraceObject line = traceLine(time, "target");
    if (const auto* error = std::get_if<WindowTargetError>(&result))
        return line.add("result", toString(*error));
    const auto& target = std::get<CaptureTarget>(result);
    TraceArray exclude;
    for (const ShareableWindow& window : target.excludeWindows)
        exclude.add(window.windowID);
    return line.add("result", "window")
        .add("id", target.scWindow.windowID)
        .add("frame", target.cgFrame)
        .add("title", target.title)
        .add("app", target.appName)
        .add("display", target.scDisplay.frame)
        .add("exclude", exclude);
}

class BackendReplay {
public:
    BackendReplay(const Scenario& scenario, const ReplayOptions& options)
        : scenario_(scenario), options_(options) {
        desktop_.state = scenario.desktop;
        for (const auto& [key, value] : scenario.settings)
            desktop_.defaults.setValue(key, value);
        desktop_.unifiedLog.onRecord = [this](const LogRecord& record) {
            print(traceLine(desktop_.timeline.now(), "log")
                      .add("category", record.category)
                      .add("message", record.message));
        };
        desktop_.captureStreams.onRunningChanged = [this](const auto& change) {
            print(streamLine(desktop_.timeline.now(), change));
        };
        log_.emplace(Log::Services{options.files, desktop_.logQueue, desktop_.unifiedLog,
                                   desktop_.timeline, desktop_.mainQueue},
                     options.home + "/Library/Logs/Lentora");
    }

    std::vector<std::string> run() {
        launch();
        desktop_.timeline.settle();
        for (const Step& step : scenario_.steps) {
            desktop_.timeline.advanceTo(step.time);
            std::visit([&](const auto& action) { apply(step, action); }, step.action);
            desktop_.timeline.settle();
        }
        desktop_.timeline.advanceTo(desktop_.timeline.now() + scenario_.tail);
        finish();
        return desktop_.contracts.violations();
    }

private:
    void launch() {
        const Settings settings(desktop_.defaults);
        backend_ = CGEventTapInputBackend::create(
            {desktop_.eventTap, desktop_.mainQueue, desktop_.executor, desktop_.timeline, *log_},
            scenario_.backend == BackendKind::tapHID ? TapLocation::hid : TapLocation::session);
        delegate_ = std::make_shared<DelegateRecorder>([this](const DelegateCall& call) {
            TraceObject line = traceLine(desktop_.timeline.now(), "delegate");
            line.add("op", call.operation);
            std::visit([&](auto argument) { line.add(call.label, argument); }, call.argument);
            print(line);
        });
        backend_->setDelegate(delegate_);
        backend_->setGate(settings.gate());
        backend_->setPinchEnabled(settings.trackpadEnabled());
        if (settings.keyboardEnabled())
            backend_->setHotKey(settings.hotKey());
        backend_->setOnHotKeyDown([this] { printHotKey(true); });
        backend_->setOnHotKeyUp([this] { printHotKey(false); });
        backend_->start();
        windowTarget_ = WindowTarget::create(
            {desktop_.shareableContent, desktop_.windowList, desktop_.displays, desktop_.pointer,
             desktop_.applications, desktop_.focusedWindows, desktop_.permissions,
             desktop_.timeline, desktop_.executor, *log_},
            IndependentApps());
    }

    // The scenario is over: what the program says while it is put away is not part of it.
    void finish() {
        printing_ = false;
        backend_->stop();
        desktop_.timeline.advanceTo(desktop_.shareableContent.lastAnswerTime());
        desktop_.checkNothingLeft();
        desktop_.timeline.clear();
    }

    void apply(const Step& step, InputEvent event) {
        const EventFlags flagsBefore = event.flags;
        const auto swallowed = desktop_.eventTap.deliver(event);
        if (!swallowed)
            return;
        TraceObject line = traceLine(desktop_.timeline.now(), "answer");
        line.add("do", step.name).add("swallow", *swallowed);
        if (event.flags != flagsBefore)
            line.addFlags("flags", event.flags);
        print(line);
    }

    void apply(const Step& /*step*/, const PointerStep& action) {
        desktop_.state.pointer = action.at;
    }
    void apply(const Step& /*step*/, const WindowsStep& action) {
        desktop_.state.windows = action.windows;
    }
    void apply(const Step& /*step*/, const DisplaysStep& action) {
        desktop_.state.displays = action.displays;
    }
    void apply(const Step& /*step*/, const FrontmostStep& action) {
        desktop_.state.frontmost = action.frontmost;
    }
    void apply(const Step& /*step*/, const PermissionsStep& action) {
        desktop_.state.permissions = action.permissions;
    }
    // Whom the shell would tell.
    void apply(const Step& /*step*/, const ActivateStep& /*action*/) {}

    void apply(const Step& /*step*/, const SettingStep& action) {
        desktop_.defaults.setValue(action.key, action.value);
    }

    void apply(const Step& /*step*/, const CallStep& action) {
        switch (action.op) {
        case CallOp::debugForceEngage:
            return backend_->debugForceEngage();
        case CallOp::debugForceRelease:
            return backend_->debugForceRelease();
        case CallOp::forceRelease:
            return backend_->forceRelease();
        case CallOp::cancelEngage:
            return backend_->cancelEngage();
        case CallOp::stop:
            return backend_->stop();
        case CallOp::start:
            return backend_->start();
        case CallOp::keyboardOpen:
        case CallOp::closeSession:
        case CallOp::quit:
        case CallOp::keyboardSetLocked:
            // The reader lets these through only where there is a session.
            return;
        }
    }

    void apply(const Step& /*step*/, const FrameStep& action) {
        desktop_.captureStreams.deliverSample(action.status, action.surface);
    }
    void apply(const Step& /*step*/, const CaptureStep& action) {
        desktop_.captureStreams.deliversFrames = action.frames;
    }

    void apply(const Step& /*step*/, const TargetStep& /*action*/) { startDetached(printTarget()); }

    Task<void> printTarget() {
        const WindowTarget::Result result = co_await windowTarget_->windowUnderCursor();
        co_await continueOn(desktop_.mainQueue);
        print(targetLine(desktop_.timeline.now(), result));
    }

    void apply(const Step& /*step*/, const DumpStep& /*action*/) {
        const auto now = backend_->snapshot();
        TraceObject backend;
        backend.add("label", backend_->label())
            .add("gateActive", now.gateActive)
            .add("engaged", now.engaged)
            .add("locked", now.locked)
            .add("detached", now.detached)
            .add("cumulative", now.cumulative);
        TraceObject settings;
        for (const auto& [key, value] : desktop_.defaults.all())
            settings.addSetting(key, value);
        print(traceLine(desktop_.timeline.now(), "dump")
                  .add("backend", backend)
                  .add("settings", settings));
    }

    void printHotKey(bool down) {
        print(traceLine(desktop_.timeline.now(), "hotKey").add("down", down));
    }

    void print(const TraceObject& line) {
        if (printing_)
            options_.print(line.text());
    }

    const Scenario& scenario_;
    const ReplayOptions& options_;
    bool printing_ = true;
    sim::SimDesktop desktop_;
    std::optional<Log> log_;
    std::shared_ptr<DelegateRecorder> delegate_;
    std::shared_ptr<CGEventTapInputBackend> backend_;
    std::shared_ptr<WindowTarget> windowTarget_;
};

} // namespace

std::vector<std::string> replay(const Scenario& scenario, const ReplayOptions& options) {
    return BackendReplay(scenario, options).run();
}

} // namespace lentora::replay
