// Values that move from what they are to what they are to be.
#pragma once

#include "support/Rect.h"

#include <limits>
#include <optional>

namespace lentora {

/// How far a movement has come at a part of its time: a cubic Bezier curve from (0, 0) to (1, 1)
/// with the control points (x1, y1) and (x2, y2), x being time.
class TimingFunction {
public:
    /// `x1` and `x2` lie in 0...1, so that there is one y for every x.
    constexpr TimingFunction(double x1, double y1, double x2, double y2)
        : x1_(x1), y1_(y1), x2_(x2), y2_(y2) {}

    static constexpr TimingFunction easeOut() { return {0, 0, 0.58, 1}; }
    static constexpr TimingFunction easeInEaseOut() { return {0.42, 0, 0.58, 1}; }

    /// The curve's y at `time`, which is held to 0...1; exactly 0 and 1 at the ends.
    double valueAt(double time) const;

private:
    double x1_;
    double y1_;
    double x2_;
    double y2_;
};

/// A movement: how long it takes, and its course.
struct Transition {
    /// Seconds.
    double duration = 0;
    TimingFunction timing = TimingFunction::easeInEaseOut();
};

inline double mix(double from, double to, double part) {
    return from + (to - from) * part;
}
inline Point mix(Point from, Point to, double part) {
    return {mix(from.x, to.x, part), mix(from.y, to.y, part)};
}
inline Size mix(Size from, Size to, double part) {
    return {mix(from.width, to.width, part), mix(from.height, to.height, part)};
}

/// A value that can move. It has two faces: what was last set, and what is seen at a time.
template <typename T>
class Animated {
public:
    explicit Animated(T value = {}) : value_(value) {}

    /// What was last set: where a movement ends.
    const T& value() const { return value_; }

    /// What is seen at `time`.
    T at(double time) const {
        if (!movement_ || time >= settledAt())
            return value_;
        const double elapsed = (time - movement_->begin) / movement_->transition.duration;
        return mix(movement_->from, value_, movement_->transition.timing.valueAt(elapsed));
    }

    /// From this time on, what is seen stays.
    double settledAt() const {
        return movement_ ? movement_->begin + movement_->transition.duration
                         : -std::numeric_limits<double>::infinity();
    }

    /// Takes effect at once and ends a movement. Whether anything is seen to change.
    bool set(const T& value) {
        const bool changes = movement_ || value_ != value;
        movement_.reset();
        value_ = value;
        return changes;
    }

    /// Moves there from what is seen `now`. Whether anything is seen to change.
    bool moveTo(const T& value, double now, const Transition& transition) {
        const T from = at(now);
        const bool isElsewhere = now < settledAt() || value_ != value;
        movement_.reset();
        value_ = value;
        if (from != value)
            movement_ = Movement{from, now, transition};
        return isElsewhere;
    }

private:
    struct Movement {
        T from;
        double begin = 0;
        Transition transition;
    };

    T value_;
    std::optional<Movement> movement_;
};

} // namespace lentora
