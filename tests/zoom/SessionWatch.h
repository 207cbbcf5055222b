// A scenario through the whole session, with what must hold whatever happens.
#pragma once

#include "platform/sim/SimDesktop.h"
#include "replay/Program.h"
#include "zoom/ZoomLaw.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lentora::replay {

// Seconds. Looking is this often; it is no multiple of the refreshes.
inline constexpr double lookInterval = 0.021;
inline constexpr double fade = 0.15;
inline constexpr double notice = 2.5;
inline constexpr double tolerance = 1e-6;

inline constexpr double never = -std::numeric_limits<double>::infinity();

/// How often a walk came by what it has to come by to be worth something.
using Visits = std::map<std::string_view, int>;

struct Fault {
    double time = 0;
    /// The same for every such fault.
    std::string what;
    std::string details;
};

inline std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    return out << fault.time << ": " << fault.what << fault.details;
}

/// Whether all is well, besides what must hold anyway.
using Invariant = std::function<bool(const ZoomController::Snapshot& session)>;

/// What a program prints, and a picture of it at the steps of the scenario.
class TracedProgram {
public:
    TracedProgram(const Scenario& scenario, bool restless,
                  std::function<void(std::string_view line)> follow)
        : options_{.home = "",
                   .files = files_,
                   .print =
                       [this, follow = std::move(follow)](std::string_view line) {
                           trace_.append(line).append("\n");
                           if (!isDumping_)
                               follow(line);
                       },
                   .writePicture = {},
                   .restless = restless},
          program_(scenario, options_) {}

    Program* operator->() { return &program_; }
    const Program* operator->() const { return &program_; }

    /// What was printed since the last call, and how everything is now.
    std::string takenTrace() {
        isDumping_ = true;
        program_.perform({program_.desktop().timeline.now(), "dump", DumpStep{}});
        isDumping_ = false;
        return std::exchange(trace_, {});
    }

private:
    sim::SimTextFiles files_;
    bool isDumping_ = false;
    std::string trace_;
    const ReplayOptions options_;
    Program program_;
};

/// Runs a scenario and looks at the session all the time. Beside it, it runs the same session with
/// a display link that never rests: nobody may see a difference.
class SessionWatch {
public:
    SessionWatch(const Scenario& scenario, Visits& visits, Invariant invariant = {})
        : scenario_(scenario), visits_(visits), invariant_(std::move(invariant)),
          program_(scenario, false, [this](auto line) { follow(line); }),
          restless_(scenario, true, [](auto /*line*/) {}) {
        const auto& timing = scenario.desktop.timing;
        // Streams that were asked for one after the other are started and stopped so, too.
        patience_ = fade + lookInterval +
                    10 * (std::abs(timing.shareableContent) + std::abs(timing.startCapture) +
                          timing.stopCapture);
        program_->launch();
        restless_->launch();
    }

    /// How many steps it took until something was wrong, or nothing.
    std::optional<std::size_t> run() {
        for (std::size_t i = 0; i < scenario_.steps.size(); ++i) {
            runUntil(scenario_.steps[i].time);
            compare();
            program_->perform(scenario_.steps[i]);
            restless_->perform(scenario_.steps[i]);
            look();
            if (!faults.empty())
                return i + 1;
        }
        runUntil(now() + scenario_.tail);
        compare();
        visit("a rest", program_->desktop().displayLinks.beatCount() <
                            restless_->desktop().displayLinks.beatCount());
        program_->finish();
        restless_->finish();
        if (!program_->violations().empty())
            fail(program_->violations().front());
        if (faults.empty())
            return std::nullopt;
        return scenario_.steps.size();
    }

    std::vector<Fault> faults;

private:
    double now() const { return program_->desktop().timeline.now(); }
    const ZoomController& zoom() const { return *program_->zoom(); }

    void fail(const std::string& what, const std::string& details = {}) {
        if (faults.size() < 10)
            faults.push_back({now(), what, details});
    }
    void require(bool holds, const char* what) {
        if (!holds)
            fail(what);
    }
    void visit(std::string_view place, bool isThere) { visits_[place] += isThere ? 1 : 0; }

    void runUntil(double time) {
        while (now() + lookInterval < time) {
            program_->runUntil(now() + lookInterval);
            look();
        }
        program_->runUntil(time);
        restless_->runUntil(time);
    }

    void compare() {
        const std::string trace = program_.takenTrace();
        const std::string without = restless_.takenTrace();
        if (trace != without)
            fail("a rest is to be seen", "\nwith it:\n" + trace + "without it:\n" + without);
    }

    // Much begins and ends within one step, so the trace is looked at as well. A log line comes
    // before what it tells of has changed the session.
    void follow(std::string_view line) {
        if (program_->zoom() == nullptr)
            return;
        const auto has = [&](std::string_view part) {
            return line.find(part) != std::string_view::npos;
        };
        const ZoomController::Snapshot session = zoom().snapshot();
        const bool isIdle = session.state == SessionState::idle;
        if (has("\"ARMED (") || has("\"ENGAGE (")) {
            lastBusy_ = now();
            leftBehind_ = false;
            hasEngaged_ |= has("\"ENGAGE (");
        }
        if (has("\"ENGAGE (initial=") || has("\"op\":\"inputDidRequestRetarget\""))
            lastAttempt_ = now();
        if (has("cannot engage: protected") || has("engage blocked: "))
            notices_.push_back(now());
        if (has("cannot engage: ") && session.sessionWindowID != 0)
            leftBehind_ = true;
        if (has("\"shown\":false"))
            hiddenByNotice_ = std::ranges::any_of(
                notices_, [&](double time) { return std::abs(time + notice - now()) < tolerance; });
        if (has("-> close\"") || has("-> auto-close"))
            lastClose_ = now();

        visit("a lens that overtook the fade of another",
              has("windowRectInView=") && now() - lastClose_ < fade - tolerance);
        visit("an attempt that the fade of another lens ended",
              has("\"teardown ") && session.state == SessionState::active);
        visit("a lens closed at the floor", has("-> auto-close"));
        visit("a target after the release", has("\"chosen (") && isIdle);
        visit("a failure after the release", has("cannot engage: ") && isIdle);
        visit("a protected window", has("cannot engage: protected"));
        visit("no window", has("cannot engage: noWindow"));
        visit("no permission", has("engage blocked: "));
        visit("a stream that does not start", has("startCapture failed"));
        visit("a lens that moved to another window", has("RETARGET: move"));
        visit("a re-target that fails", has("RETARGET: no capturable"));
    }

    void look() {
        const ZoomController::Snapshot session = zoom().snapshot();
        const bool hasLens = session.state == SessionState::active && session.sessionWindowID != 0;
        if (session.state != SessionState::idle)
            lastBusy_ = now();
        checkZoom(session, hasLens);
        if (hasLens)
            visitLens(session);
        if (hasLens || session.state == SessionState::armed)
            checkBusy(session);
        else
            require(!program_->desktop().displayLinks.isRunning(), "a beat for nothing");
        if (session.state == SessionState::idle)
            checkIdle(session);
        require(!session.engageInFlight || now() - lastAttempt_ <= patience_,
                "an attempt that does not end");
        require(!invariant_ || invariant_(session), "the test's own invariant is broken");
        if (!program_->violations().empty())
            fail(program_->violations().front());
    }

    void checkZoom(const ZoomController::Snapshot& session, bool hasLens) {
        const double highest = zoom().maxZoom + tolerance;
        const double lowest =
            (session.isKeyboardSession ? std::min(zoom().fixedZoom, 1.0) : 1.0) - tolerance;
        require(!hasEngaged_ || (session.targetZoom >= lowest && session.targetZoom <= highest),
                "the zoom is heading out of its bounds");
        require(!hasLens || (session.displayedZoom >= lowest && session.displayedZoom <= highest),
                "the zoom that is shown is out of its bounds");
        require(session.belowFloorAccum >= 0 && session.belowFloorAccum < zoom::closeOvershoot,
                "a lens was pinched through the floor and is open");
    }

    void visitLens(const ZoomController::Snapshot& session) {
        const LensOverlay& overlay = zoom().overlay();
        visit("a locked lens", session.sessionLocked);
        visit("a lens from the keyboard", session.isKeyboardSession);
        visit("a locked lens that is detached", session.detachActive && session.sessionLocked);
        visit("a lens on the display of another scale", overlay.screenScale() == 1);
        visit("a lens of a window that is gone",
              std::ranges::find(program_->desktop().state.windows, session.sessionWindowID,
                                &sim::Window::id) == program_->desktop().state.windows.end());
        visit("a lens that the end of a notice hid", !overlay.panel()->isVisible());
    }

    // Armed, or with a lens.
    void checkBusy(const ZoomController::Snapshot& session) {
        const LensOverlay& overlay = zoom().overlay();
        const sim::SimDisplayLinks& links = program_->desktop().displayLinks;
        require(links.isRunning(), "armed, or a lens, without a beat");
        require(links.display() == overlay.screenFrame(), "a beat of another display");
        require(session.badgeShown, "armed, or a lens, without a badge");
        require(overlay.panel()->isVisible() || hiddenByNotice_,
                "armed, or a lens, without a panel");
        if (session.state != SessionState::armed)
            return;
        require(session.sessionLocked, "armed and not to be locked");
        require(overlay.magnifier().clipLayer()->opacityAt(now()) == 0, "armed and a lens is seen");
    }

    void checkIdle(const ZoomController::Snapshot& session) {
        const double idleFor = now() - lastBusy_;
        require(session.sessionWindowID == 0, "idle with a window");
        require(!session.sessionLocked, "idle and locked");
        require(!session.badgeShown, "idle with a badge");
        require(!program_->desktop().captureStreams.isRunning() || idleFor <= patience_,
                "idle with a stream that runs");
        const LensOverlay& overlay = zoom().overlay();
        if (overlay.panel() == nullptr || !overlay.panel()->isVisible() ||
            idleFor <= fade + lookInterval)
            return;
        const double lastNotice = notices_.empty() ? never : notices_.back();
        require(now() - lastNotice <= notice + tolerance, "idle with a panel on the screen");
        const MagnifierView& view = overlay.magnifier();
        require(view.cursorBadge()->opacityAt(now()) == 0, "a notice with a badge");
        require(leftBehind_ || view.clipLayer()->opacityAt(now()) == 0, "a notice with a lens");
    }

    const Scenario& scenario_;
    Visits& visits_;
    const Invariant invariant_;
    // What is below is used by what the program prints. Times are those of the last such event.
    double lastBusy_ = never;
    double lastAttempt_ = never;
    double lastClose_ = never;
    std::vector<double> notices_;
    bool hasEngaged_ = false;
    bool hiddenByNotice_ = false;
    // A failure ended an open lens that another attempt had opened.
    bool leftBehind_ = false;
    double patience_ = 0;
    TracedProgram program_;
    TracedProgram restless_;
};

} // namespace lentora::replay
