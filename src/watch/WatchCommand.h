// `lentora watch`: shows what the program makes of the user's input, live. It is how a user finds
// out whether the touchpad's pinches arrive.
#pragma once

#include "input/GateModifier.h"
#include "platform/x11/X11EventTap.h"

#include <string>

namespace lentora::watch {

struct WatchArguments {
    GateModifier gate = GateModifier::option;
    x11::WheelZoom wheelZoom = x11::WheelZoom::automatic;
    std::string version;
};

/// Watches the desktop that $DISPLAY names until SIGINT or SIGTERM. Where no display is set, starts
/// a test desktop, does a pinch on it, and ends. Returns the exit code: 0 when it was told to end,
/// 1 when there is no server or it went away.
int runWatchCommand(const WatchArguments& arguments, int& argc, char** argv);

} // namespace lentora::watch
