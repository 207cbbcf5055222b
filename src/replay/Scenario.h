// A scenario: what the simulated desktop looks like, and what happens on it when. The file format
// is described in docs/replay.md.
#pragma once

#include "input/InputBackend.h"
#include "platform/CaptureStreams.h"
#include "platform/Defaults.h"
#include "platform/EventTap.h"
#include "platform/sim/SimDesktop.h"
#include "support/StringTable.h"

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace lentora::replay {

enum class Launch { application, session, backend };

enum class CallOp {
    debugForceEngage,
    debugForceRelease,
    forceRelease,
    cancelEngage,
    stop,
    start,
    keyboardOpen,
    closeSession,
    quit,
    keyboardSetLocked,
};

// What a step does. An event that reaches the tap is an InputEvent.

struct PointerStep {
    Point at;
};
struct WindowsStep {
    std::vector<sim::Window> windows;
};
struct DisplaysStep {
    std::vector<Screen> displays;
};
struct FrontmostStep {
    sim::Frontmost frontmost;
};
struct PermissionsStep {
    sim::GrantedPermissions permissions;
};
struct ActivateStep {
    int pid = 0;
};
struct SettingStep {
    std::string key;
    DefaultsValue value;
};
struct CallStep {
    CallOp op = CallOp::start;
    bool locked = false;
};
struct FrameStep {
    SampleStatus status = SampleStatus::complete;
    bool surface = true;
};
struct CaptureStep {
    bool frames = true;
};
struct TargetStep {};
struct DumpStep {};
struct PngStep {
    /// A name without folders.
    std::string file;
};

using Action = std::variant<InputEvent, PointerStep, WindowsStep, DisplaysStep, FrontmostStep,
                            PermissionsStep, ActivateStep, SettingStep, CallStep, FrameStep,
                            CaptureStep, TargetStep, DumpStep, PngStep>;

struct Step {
    /// Seconds of virtual time; never before the step before it.
    double time = 0;
    /// The name in the file.
    std::string name;
    Action action;
};

struct Scenario {
    Launch launch = Launch::application;
    BackendKind backend = BackendKind::tapSession;
    Locale locale = Locale::keys;
    sim::DesktopState desktop;
    std::vector<std::pair<std::string, DefaultsValue>> settings{
        {"onboardingDone", true},
        {"statsConsent", std::string("denied")},
    };
    std::vector<int> alertAnswers;
    std::vector<Step> steps;
    /// Seconds that time runs on after the last step.
    double tail = 0;
};

/// What is wrong with a scenario and where.
struct ScenarioError {
    /// A JSON pointer; "/" for the file as a whole.
    std::string pointer;
    std::string message;
};

/// Reads the text of a scenario file.
std::variant<Scenario, ScenarioError> readScenario(std::string_view text);

} // namespace lentora::replay
