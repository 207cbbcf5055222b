// `lentora`: the magnifier itself.
#pragma once

#include "input/GateModifier.h"
#include "platform/x11/X11EventTap.h"

#include <optional>
#include <string>

namespace lentora::launch {

struct LaunchArguments {
    GateModifier gate = GateModifier::option;
    /// Zoom factors. With a fixed one, every lens opens at it; otherwise the pinch decides.
    std::optional<double> maxZoom;
    std::optional<double> fixedZoom;
    x11::WheelZoom wheelZoom = x11::WheelZoom::automatic;
    std::string version;
};

/// Runs on the desktop that $DISPLAY names until SIGINT, SIGTERM or SIGHUP, and ends the process
/// then: with 0 when it was told to end, with 1 when input cannot be watched or the server went
/// away. Returns 1 where it cannot begin.
int runLaunchCommand(const LaunchArguments& arguments, int& argc, char** argv);

} // namespace lentora::launch
