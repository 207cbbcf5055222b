#include "platform/posix/PosixClock.h"

#include <ctime>

namespace lentora::posix {

namespace {

constexpr std::time_t secondsPerMinute = 60;
constexpr long nanosecondsPerMillisecond = 1'000'000;

} // namespace

double PosixMediaClock::now() const {
    std::timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The conversion to local time takes a lock inside the C library, which a thread that must answer
// quickly should not meet with every line: it is made once a minute. Time zones change their
// offset on full minutes.
TimeOfDay PosixWallClock::localTimeOfDay() const {
    std::timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);

    thread_local std::time_t knownMinute = -1;
    thread_local std::tm local{};
    const std::time_t minute = time.tv_sec / secondsPerMinute;
    if (minute != knownMinute) {
        const std::time_t start = minute * secondsPerMinute;
        localtime_r(&start, &local);
        knownMinute = minute;
    }
    return {local.tm_hour, local.tm_min,
            local.tm_sec + static_cast<int>(time.tv_sec % secondsPerMinute),
            static_cast<int>(time.tv_nsec / nanosecondsPerMillisecond)};
}

} // namespace lentora::posix
