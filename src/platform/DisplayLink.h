// A beat in step with a display's refreshes, for what moves on it.
#pragma once

#include "support/Rect.h"

#include <functional>
#include <memory>

namespace lentora {

/// A beat that runs. Letting go of it ends it, also from inside of a call: none follows. Main
/// thread.
class DisplayLink {
public:
    virtual ~DisplayLink() = default;

    /// What the beat is in step with from now on: the display with the frame `display` (Cocoa
    /// space).
    virtual void follow(const Rect& display) = 0;
};

class DisplayLinks {
public:
    /// `timestamp` is the time of the refresh, in seconds of the media clock.
    using OnRefresh = std::function<void(double timestamp)>;

    virtual ~DisplayLinks() = default;

    /// Calls `onRefresh` at every refresh of the display with the frame `display` (Cocoa space),
    /// never inside of this call. A main thread that was busy misses refreshes and gets one call
    /// for them. Where the display is gone or its refreshes are not known, the calls come at a
    /// rate that suits moving pictures. Main thread, and so are the calls. Never null.
    virtual std::unique_ptr<DisplayLink> start(const Rect& display, OnRefresh onRefresh) = 0;
};

} // namespace lentora
