// What is on the simulated desktop, as plain data. The services answer from it; the steps of a
// scenario change it.
#pragma once

#include "platform/Displays.h"
#include "support/Rect.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lentora::sim {

struct Window {
    std::uint32_t id = 0;
    int pid = 0;
    /// CG space: origin at the top-left corner of the primary display, y down.
    Rect bounds;
    int layer = 0;
    double alpha = 1;
    std::string owner = "?";
    std::optional<std::string> bundle;
    std::optional<std::string> title;
    std::optional<std::string> app;
    /// The capture service offers it; the window list has it.
    bool shareable = true;
    bool listed = true;
    /// "#rrggbb": what its pixels show.
    std::string color = "#808080";
};

struct Frontmost {
    int pid = 0;
    std::optional<std::uint32_t> focused;
};

struct GrantedPermissions {
    bool screenRecording = true;
    bool accessibility = true;
    bool inputMonitoring = true;
};

/// How long the platform takes to answer, in seconds; `refresh` in Hz. A negative time for
/// shareable content or for a start means that the request fails after that long.
struct Timing {
    double shareableContent = 0.02;
    double startCapture = 0.03;
    double stopCapture = 0.005;
    double firstFrame = 0.016;
    double frameInterval = 1.0 / 60;
    double refresh = 60;
};

struct DesktopState {
    /// The first is the primary display.
    std::vector<Screen> displays{Screen{}};
    /// Front-most first.
    std::vector<Window> windows;
    std::optional<Frontmost> frontmost;
    /// Cocoa space.
    Point pointer{960, 540};
    GrantedPermissions permissions;
    Timing timing;
};

} // namespace lentora::sim
