#include "replay/Program.h"

#include "platform/sim/DesktopPicture.h"
#include "platform/sim/SimSession.h"
#include "replay/Dump.h"
#include "support/Settings.h"

#include <cmath>
#include <utility>
#include <variant>

namespace lentora::replay {

namespace {

TraceObject& addTarget(TraceObject& line, const WindowTarget::Result& result) {
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

// How long a session that was closed may take to come to rest: the choice of a window, a stream
// that starts although nobody wants it any more and is stopped, and a notice.
double restAfter(const sim::Timing& timing) {
    constexpr double noticeAndFades = 3;
    return noticeAndFades + 2 * std::abs(timing.shareableContent) + std::abs(timing.startCapture) +
           2 * timing.stopCapture;
}

} // namespace

Program::Program(const Scenario& scenario, const ReplayOptions& options)
    : scenario_(scenario), options_(options), strings_(scenario.locale) {
    desktop_.state = scenario.desktop;
    desktop_.displayLinks.restless = options.restless;
    for (const auto& [key, value] : scenario.settings)
        desktop_.defaults.setValue(key, value);
    desktop_.unifiedLog.onRecord = [this](const LogRecord& record) {
        print(line("log").add("category", record.category).add("message", record.message));
    };
    desktop_.captureStreams.onRunningChanged = [this](const auto& change) {
        print(streamLine(desktop_.timeline.now(), change));
    };
    desktop_.panels.onOrder = [this](bool shown, const Rect& frame) {
        print(line("panel").add("shown", shown).add("frame", frame));
    };
    log_ =
        std::make_unique<Log>(Log::Services{options.files, desktop_.logQueue, desktop_.unifiedLog,
                                            desktop_.timeline, desktop_.mainQueue},
                              options.home + "/Library/Logs/Lentora");
}

Program::~Program() {
    // Work that never came to run holds parts of the program, which go before the desktop does.
    desktop_.timeline.clear();
}

void Program::launch() {
    const SessionServices services = sim::sessionServices(desktop_, *log_, strings_);
    if (scenario_.launch == Launch::session) {
        session_ = makeSession(services, IndependentApps());
        applySettings(Settings(desktop_.defaults), strings_, *session_.zoom);
    } else {
        session_.windowTarget = makeWindowTarget(services, IndependentApps());
    }
    launchBackend();
    desktop_.timeline.settle();
}

void Program::launchBackend() {
    backend_ = CGEventTapInputBackend::create(
        {desktop_.eventTap, desktop_.mainQueue, desktop_.executor, desktop_.timeline, *log_},
        scenario_.backend == BackendKind::tapHID ? TapLocation::hid : TapLocation::session);
    delegate_ = std::make_shared<DelegateRecorder>(
        [this](const DelegateCall& call) { printCall(call); }, session_.zoom);
    backend_->setDelegate(delegate_);
    if (session_.zoom)
        session_.zoom->inputBackend = backend_;
    applySettings(Settings(desktop_.defaults), *backend_);
    backend_->setOnHotKeyDown([this] { printHotKey(true); });
    backend_->setOnHotKeyUp([this] { printHotKey(false); });
    backend_->start();
}

void Program::perform(const Step& step) {
    runUntil(step.time);
    std::visit([&](const auto& action) { apply(step, action); }, step.action);
    desktop_.timeline.settle();
}

// The scenario is over: what the program says while it is put away is not part of it.
void Program::finish() {
    printing_ = false;
    backend_->stop();
    if (session_.zoom) {
        // The choice of a window may be under way, and a notice come of it.
        session_.zoom->closeSession();
        runUntil(desktop_.timeline.now() + restAfter(desktop_.state.timing));
    }
    runUntil(desktop_.shareableContent.lastAnswerTime());
    desktop_.checkNothingLeft();
}

// The steps

void Program::apply(const Step& step, InputEvent event) {
    const EventFlags flagsBefore = event.flags;
    const auto swallowed = desktop_.eventTap.deliver(event);
    if (!swallowed)
        return;
    TraceObject answer = line("answer");
    answer.add("do", step.name).add("swallow", *swallowed);
    if (event.flags != flagsBefore)
        answer.addFlags("flags", event.flags);
    print(answer);
}

void Program::apply(const Step& /*step*/, const PointerStep& action) {
    desktop_.state.pointer = action.at;
}

void Program::apply(const Step& /*step*/, const WindowsStep& action) {
    desktop_.state.windows = action.windows;
}

void Program::apply(const Step& /*step*/, const DisplaysStep& action) {
    desktop_.state.displays = action.displays;
}

void Program::apply(const Step& /*step*/, const FrontmostStep& action) {
    desktop_.state.frontmost = action.frontmost;
}

void Program::apply(const Step& /*step*/, const PermissionsStep& action) {
    desktop_.state.permissions = action.permissions;
}

// Whom the shell would tell.
void Program::apply(const Step& /*step*/, const ActivateStep& /*action*/) {}

void Program::apply(const Step& /*step*/, const SettingStep& action) {
    desktop_.defaults.setValue(action.key, action.value);
}

void Program::apply(const Step& /*step*/, const CallStep& action) {
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
    // The reader lets these through only where there is what they need.
    case CallOp::keyboardOpen:
        return session_.zoom->keyboardOpen();
    case CallOp::closeSession:
        return session_.zoom->closeSession();
    case CallOp::keyboardSetLocked:
        return session_.zoom->keyboardSetLocked(action.locked);
    case CallOp::quit:
        return;
    }
}

void Program::apply(const Step& /*step*/, const FrameStep& action) {
    desktop_.captureStreams.deliverSample(action.status, action.surface);
}

void Program::apply(const Step& /*step*/, const CaptureStep& action) {
    desktop_.captureStreams.deliversFrames = action.frames;
}

void Program::apply(const Step& /*step*/, const TargetStep& /*action*/) {
    startDetached(printTarget());
}

void Program::apply(const Step& /*step*/, const DumpStep& /*action*/) {
    TraceObject dump = line("dump");
    if (session_.zoom)
        addSession(dump, *session_.zoom, desktop_, *session_.capture);
    addBackend(dump, *backend_);
    addSettings(dump, desktop_.defaults);
    print(dump);
}

void Program::apply(const Step& /*step*/, const PngStep& action) {
    const sim::SimPanel* panel = desktop_.panels.shownPanel();
    if (panel == nullptr)
        return;
    const Picture picture = sim::pictureUnderPanel(desktop_.state, *panel, desktop_.timeline.now());
    if (!picture.isEmpty())
        options_.writePicture(picture, action.file);
}

Task<void> Program::printTarget() {
    const WindowTarget::Result result = co_await session_.windowTarget->windowUnderCursor();
    co_await continueOn(desktop_.mainQueue);
    TraceObject target = line("target");
    print(addTarget(target, result));
}

// The trace

TraceObject Program::line(std::string_view event) const {
    return traceLine(desktop_.timeline.now(), event);
}

void Program::print(const TraceObject& line) {
    if (printing_)
        options_.print(line.text());
}

void Program::printCall(const DelegateCall& call) {
    TraceObject printed = line("delegate");
    printed.add("op", call.operation);
    std::visit([&](auto argument) { printed.add(call.label, argument); }, call.argument);
    print(printed);
}

void Program::printHotKey(bool down) {
    print(line("hotKey").add("down", down));
}

} // namespace lentora::replay
