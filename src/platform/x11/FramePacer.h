// When a panel draws: at once when something changes after a rest or after a drawing that was
// hardly one, else once for each refresh of the display, and never while the server is still busy
// with the drawing before.
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
    double interval() const { return interval_; }

    /// Something has changed.
    void request() { isWanted_ = true; }
    /// What was drawn goes on moving by itself: there is something to draw at the next refresh.
    void requestNextStep() { isMoving_ = true; }
    /// Nothing is to be drawn any more.
    void cancel() { isWanted_ = isMoving_ = false; }

    /// When to draw next: now, where that is not later. Nothing, when there is nothing to draw or
    /// the drawing before is not finished.
    std::optional<double> due(double now) const {
        if ((!isWanted_ && !isMoving_) || isOutstanding_)
            return std::nullopt;
        return std::max(isWanted_ ? next_ : nextStep_, now);
    }

    /// Looks at what there is to draw.
    void begin(double now) {
        cancel();
        // A drawing that comes late does not delay all that follow; two keep half the distance. One
        // that comes early, after one that drew little, takes no refresh from those that follow.
        nextStep_ = std::clamp(nextStep_ + interval_, now + interval_ / 2, now + interval_);
        next_ = nextStep_;
    }
    /// What is drawn at `now` is so little that the next change does not wait for the refresh.
    void drawsLittle(double now) { next_ = std::min(next_, now + interval_ / 4); }
    /// A drawing was sent.
    void sent() { isOutstanding_ = true; }
    /// The server has carried it out.
    void finished() { isOutstanding_ = false; }

private:
    static constexpr double never = -std::numeric_limits<double>::infinity();

    double interval_ = 1.0 / 60;
    double next_ = never;
    double nextStep_ = never;
    bool isWanted_ = false;
    bool isMoving_ = false;
    bool isOutstanding_ = false;
};

} // namespace lentora::x11
