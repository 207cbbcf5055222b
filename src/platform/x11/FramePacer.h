// When a panel draws: at once when something changes after a rest, else once for each refresh of
// the display, and never while the server is still busy with the drawing before.
#pragma once

#include <algorithm>
#include <limits>
#include <optional>

namespace lentora::x11 {

/// Times are seconds of the media clock. One thread.
class FramePacer {
public:
    /// Seconds between two refreshes; above 0.
    void setInterval(double seconds) { interval_ = seconds; }

    /// Something has changed.
    void request() { isWanted_ = true; }
    /// Nothing is to be drawn any more.
    void cancel() { isWanted_ = false; }

    /// When to draw next: now, where that is not later. Nothing, when there is nothing to draw or
    /// the drawing before is not finished.
    std::optional<double> due(double now) const {
        if (!isWanted_ || isOutstanding_)
            return std::nullopt;
        return std::max(next_, now);
    }

    /// Looks at what there is to draw.
    void begin(double now) {
        isWanted_ = false;
        // A drawing that comes late does not delay all that follow; two keep half the distance.
        next_ = std::max(next_ + interval_, now + interval_ / 2);
    }
    /// A drawing was sent.
    void sent() { isOutstanding_ = true; }
    /// The server has carried it out.
    void finished() { isOutstanding_ = false; }

private:
    double interval_ = 1.0 / 60;
    double next_ = -std::numeric_limits<double>::infinity();
    bool isWanted_ = false;
    bool isOutstanding_ = false;
};

} // namespace lentora::x11
