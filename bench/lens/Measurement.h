// What is measured of a magnifier.
#pragma once

#include "lens/Magnifiers.h"
#include "lens/PixelWatch.h"
#include "lens/SourceWindow.h"
#include "lens/Windows.h"

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace lentora::bench {

/// Processor time, per cent of a core.
struct Load {
    double program = 0;
    double server = 0;
};

/// Times in milliseconds.
struct Result {
    /// From the movement of the fingers to the first pixel that differs, and to the magnified one.
    std::vector<double> firstPixel;
    std::vector<double> magnifiedPixel;
    /// From the change of a pixel to the change of the magnified one.
    std::vector<double> whole;
    std::vector<double> small;
    std::vector<Load> busy;
    std::vector<Load> idle;
    /// Why there is nothing more than that; empty where there is no reason.
    std::string failure;
};

class Measurement {
public:
    /// What is looked at takes part in the desktop.
    explicit Measurement(testdesktop::TestDesktop& desktop);

    xcb_window_t source() const { return source_.id(); }

    /// The source window by itself: what the watch and the change cost without a magnifier. Adds to
    /// `result`, as the next one does.
    void withNobody(Result& result);

    /// Runs the magnifier once, with `folder` for its files.
    void with(const Magnifier& magnifier, const std::string& folder, Result& result);

private:
    /// Has a magnifier look at the screen that waits for movements of the pointer.
    using Nudge = std::function<void()>;

    std::string measureOpening(RunningMagnifier& magnifier, Result& result);
    std::string measureMagnifier(RunningMagnifier& magnifier, Result& result);
    std::string findSmallChange(const RunningMagnifier& magnifier, const Nudge& nudge, Spot& spot);
    std::string measureChanges(int count, Change what, xcb_window_t shownIn, const Spot& spot,
                               const Nudge& nudge, std::vector<double>& times);
    Load measureLoad(bool changing, pid_t program, const Nudge& nudge);

    testdesktop::TestDesktop& desktop_;
    Windows windows_;
    SourceWindow source_;
    PixelWatch watch_;
    std::minstd_rand random_;
};

} // namespace lentora::bench
