// What is to be seen on the simulated desktop.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/SimSurface.h"
#include "support/Picture.h"

#include <memory>

namespace lentora::sim {

class SimPanel;

/// What the capture service sees: the windows that it offers and that the filter does not leave
/// out.
std::shared_ptr<const SimSurface> capturedSurface(const DesktopState& state,
                                                  const CaptureFilter& filter,
                                                  const CaptureConfiguration& configuration);

/// What a user sees where `panel` is: all windows, and over them the panel as it is at `time`; in
/// the pixels of the display that shows most of it. Empty without displays.
Picture pictureUnderPanel(const DesktopState& state, const SimPanel& panel, double time);

} // namespace lentora::sim
