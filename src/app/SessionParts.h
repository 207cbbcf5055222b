// The session with all that it is made of, put together in one way for everybody: the program, a
// replay, and tests.
#pragma once

#include "capture/IndependentApps.h"
#include "capture/WindowCapture.h"
#include "capture/WindowTarget.h"
#include "zoom/ZoomController.h"

#include <memory>

namespace lentora {

class CGEventTapInputBackend;
class Settings;

/// What a session needs of the world. All of it outlives the session and the work it has queued.
struct SessionServices {
    const WindowList& windowList;
    const FocusedWindows& focusedWindows;
    const Applications& applications;
    const Displays& displays;
    const Pointer& pointer;
    const Permissions& permissions;
    ShareableContentSource& shareableContent;
    CaptureStreams& captureStreams;
    Screenshots& screenshots;
    Panels& panels;
    DisplayLinks& displayLinks;
    const TextMeasurer& textMeasurer;
    const MediaClock& clock;
    BackgroundExecutor& executor;
    MainQueue& mainQueue;
    Log& log;
    const StringTable& strings;
};

struct SessionParts {
    std::shared_ptr<WindowTarget> windowTarget;
    std::shared_ptr<WindowCapture> capture;
    std::shared_ptr<ZoomController> zoom;
};

/// `independentApps` says which applications' windows are taken as they are. Main thread.
SessionParts makeSession(const SessionServices& services, IndependentApps independentApps);

/// The part that finds the window under the pointer, by itself.
std::shared_ptr<WindowTarget> makeWindowTarget(const SessionServices& services,
                                               IndependentApps independentApps);

// What the user chose, as it is now. Main thread.

void applySettings(const Settings& settings, CGEventTapInputBackend& backend);
void applySettings(const Settings& settings, const StringTable& strings, ZoomController& zoom);

} // namespace lentora
