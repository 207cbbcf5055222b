// The two clocks the core may look at. Everything that measures a span uses the media clock;
// the wall clock exists for the time of day that log lines carry.
#pragma once

namespace lentora {

/// Monotonic time. Every time in the input and session logic is a reading of this clock.
class MediaClock {
public:
    virtual ~MediaClock() = default;

    /// Seconds since an arbitrary start; never goes back. Any thread.
    virtual double now() const = 0;
};

struct TimeOfDay {
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

class WallClock {
public:
    virtual ~WallClock() = default;

    /// The local time of day, truncated to milliseconds. Any thread; never waits.
    virtual TimeOfDay localTimeOfDay() const = 0;
};

} // namespace lentora
