// The program on a simulated desktop, as much of it as a scenario launches.
#pragma once

#include "app/SessionParts.h"
#include "input/CGEventTapInputBackend.h"
#include "input/DelegateRecorder.h"
#include "platform/sim/SimDesktop.h"
#include "replay/Replay.h"
#include "replay/Scenario.h"
#include "replay/Trace.h"
#include "support/Log.h"
#include "support/StringTable.h"
#include "support/Task.h"

#include <memory>
#include <string>
#include <vector>

namespace lentora::replay {

class Program {
public:
    /// The desktop as it is before the launch. `scenario` and `options` outlive the program.
    Program(const Scenario& scenario, const ReplayOptions& options);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void launch();

    /// Lets time run on to the step's time, takes the step, and runs what follows from it at once.
    void perform(const Step& step);

    void runUntil(double time) { desktop_.timeline.advanceTo(time); }

    /// Puts the program away, in silence, and checks that nothing is left. Last.
    void finish();

    /// What the program did against the contracts of the simulated desktop.
    const std::vector<std::string>& violations() const { return desktop_.contracts.violations(); }

    const sim::SimDesktop& desktop() const { return desktop_; }
    /// After the launch.
    const CGEventTapInputBackend& backend() const { return *backend_; }
    /// After the launch of a session; null otherwise.
    const ZoomController* zoom() const { return session_.zoom.get(); }
    const WindowCapture* capture() const { return session_.capture.get(); }

private:
    void launchBackend();

    void apply(const Step& step, InputEvent event);
    void apply(const Step& step, const PointerStep& action);
    void apply(const Step& step, const WindowsStep& action);
    void apply(const Step& step, const DisplaysStep& action);
    void apply(const Step& step, const FrontmostStep& action);
    void apply(const Step& step, const PermissionsStep& action);
    void apply(const Step& step, const ActivateStep& action);
    void apply(const Step& step, const SettingStep& action);
    void apply(const Step& step, const CallStep& action);
    void apply(const Step& step, const FrameStep& action);
    void apply(const Step& step, const CaptureStep& action);
    void apply(const Step& step, const TargetStep& action);
    void apply(const Step& step, const DumpStep& action);
    void apply(const Step& step, const PngStep& action);

    Task<void> printTarget();
    TraceObject line(std::string_view event) const;
    void print(const TraceObject& line);
    void printCall(const DelegateCall& call);
    void printHotKey(bool down);

    const Scenario& scenario_;
    const ReplayOptions& options_;
    const StringTable strings_;
    bool printing_ = true;
    // What is below uses it, so it goes last.
    sim::SimDesktop desktop_;
    std::unique_ptr<Log> log_;
    // Of which a launch without a session has the first alone.
    SessionParts session_;
    std::shared_ptr<DelegateRecorder> delegate_;
    std::shared_ptr<CGEventTapInputBackend> backend_;
};

} // namespace lentora::replay
