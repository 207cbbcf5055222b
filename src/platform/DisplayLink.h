// A beat in step with a display's refreshes, for what moves on it.
#pragma once

#include "support/Rect.h"

#include <functional>
#include <memory>

namespace lentora {

struct Refresh {
    /// Seconds of the media clock.
    double timestamp = 0;
    /// Refreshes before it were left out because the link rested.
    bool isAfterRest = false;
    /// In that case, when the last of them was; 0 where that is not known. From there on things
    /// move as they would have without the rest.
    double lastLeftOut = 0;
};

/// A beat that runs. Letting go of it ends it, also from inside of a call: none follows. Main
/// thread.
class DisplayLink {
public:
    virtual ~DisplayLink() = default;

    /// What the beat is in step with from now on: the display with the frame `display` (Cocoa
    /// space).
    virtual void follow(const Rect& display) = 0;

    /// Until the pointer moves, or `wake`, there is nothing to do at a refresh, so that calls may
    /// be left out; they need not be. One may still follow. Asked for anew by each call that finds
    /// nothing to do.
    virtual void restUntilPointerMoves() = 0;

    /// There is something to do at the next refresh.
    virtual void wake() = 0;
};

class DisplayLinks {
public:
    using OnRefresh = std::function<void(const Refresh& refresh)>;

    virtual ~DisplayLinks() = default;

    /// Calls `onRefresh` at every refresh of the display with the frame `display` (Cocoa space),
    /// never inside of this call. A main thread that was busy misses refreshes and gets one call
    /// for them. Where the display is gone or its refreshes are not known, the calls come at a
    /// rate that suits moving pictures. Main thread, and so are the calls. Never null.
    virtual std::unique_ptr<DisplayLink> start(const Rect& display, OnRefresh onRefresh) = 0;
};

} // namespace lentora
