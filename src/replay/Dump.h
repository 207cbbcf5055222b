// What a `dump` line tells of the program.
#pragma once

#include "replay/Trace.h"

namespace lentora {
class CGEventTapInputBackend;
class WindowCapture;
class ZoomController;
} // namespace lentora

namespace lentora::sim {
class SimDefaults;
class SimDesktop;
} // namespace lentora::sim

namespace lentora::replay {

/// The session, and what is to be seen of it on `desktop` now.
void addSession(TraceObject& dump, const ZoomController& zoom, const sim::SimDesktop& desktop,
                const WindowCapture& capture);
void addBackend(TraceObject& dump, const CGEventTapInputBackend& backend);
void addSettings(TraceObject& dump, const sim::SimDefaults& defaults);

} // namespace lentora::replay
