// The clocks of the running system.
#pragma once

#include "platform/Clock.h"

namespace lentora::posix {

class PosixMediaClock final : public MediaClock {
public:
    /// CLOCK_MONOTONIC.
    double now() const override;
};

class PosixWallClock final : public WallClock {
public:
    TimeOfDay localTimeOfDay() const override;
};

} // namespace lentora::posix
