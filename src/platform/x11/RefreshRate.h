// How often monitors are refreshed.
#pragma once

#include "platform/x11/Connection.h"
#include "platform/x11/PixelRect.h"

#include <vector>

namespace lentora::x11 {

/// Of what one output of the graphics card shows.
struct RefreshRate {
    /// On the root window.
    PixelRect shown;
    /// Refreshes in a second, by the output's mode; 0 where it says what no monitor does.
    double hertz = 0;
};

/// Of all outputs that show something, without looking for monitors anew, which may take long.
/// Needs RandR 1.3. Waits for two round trips.
std::vector<RefreshRate> readRefreshRates(const Connection& connection);

/// Of the one that shows most of `display`; 0 where that is not known.
double refreshRateOf(const PixelRect& display, const std::vector<RefreshRate>& rates);

} // namespace lentora::x11
