// How often a panel may be put back on top. Another window may want to stay above all others as
// well; two such windows must not keep the server busy.
#pragma once

#include <algorithm>

namespace lentora::x11 {

/// Times are seconds of the media clock.
class RaiseBudget {
public:
    /// At once, after a rest.
    static constexpr int burst = 8;
    /// Seconds after which one more is allowed.
    static constexpr double refill = 0.5;

    explicit RaiseBudget(double now) : emptyAt_(now - burst * refill) {}

    /// Whether it may be raised now, which counts.
    bool take(double now) {
        if (waitingTime(now) > 0)
            return false;
        emptyAt_ = std::max(emptyAt_, now - burst * refill) + refill;
        return true;
    }

    /// Seconds until it may be raised; 0 when it may be.
    double waitingTime(double now) const { return std::max(emptyAt_ + refill - now, 0.0); }

private:
    // As many refills lie between this time and now as are left.
    double emptyAt_;
};

} // namespace lentora::x11
