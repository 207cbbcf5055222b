// Random sequences of gestures, keys, pointer moves and changes of the desktop through the whole
// session, on a platform that answers late or not at all, with what must hold whatever happens. A
// failure prints a scenario that `lentora replay` can run. LENTORA_SESSION_WALK_STEPS sets how
// many steps are taken.
#include "platform/sim/SimDesktop.h"
#include "replay/Program.h"
#include "replay/Trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace lentora::replay {
namespace {

constexpr int defaultSteps = 2'000;
constexpr std::size_t stepsPerScenario = 100;

// Seconds. Looking is this often; it is no multiple of the refreshes.
constexpr double lookInterval = 0.021;
constexpr double fade = 0.15;
constexpr double notice = 2.5;
constexpr double tolerance = 1e-6;

constexpr EventFlags gateHeld = 0x80020;

constexpr double never = -std::numeric_limits<double>::infinity();

// Writes a scenario, step by step.
class ScenarioWriter {
public:
    explicit ScenarioWriter(std::uint32_t seed) : random_(seed) {
        head_ = R"({"launch": "session", "settings": )" + settings() + R"(, "timing": )" +
                timing() + R"(, "windows": )" + windows() +
                R"(, "pointer": [300, 700], "steps": [)";
        while (steps_.size() < stepsPerScenario)
            addStep();
    }

    /// The scenario up to and including the step `last`.
    std::string text(std::size_t last) const {
        std::string text = head_;
        for (std::size_t i = 0; i <= last && i < steps_.size(); ++i)
            text += (i > 0 ? ",\n" : "\n") + steps_[i];
        return text + R"(], "tail": 5})";
    }
    std::string text() const { return text(steps_.size()); }

private:
    int below(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }
    bool chance(int oneIn) { return below(oneIn) == 0; }

    template <typename T, std::size_t size>
    T oneOf(const std::array<T, size>& values) {
        return values[static_cast<std::size_t>(below(static_cast<int>(size)))];
    }

    std::string settings() {
        return TraceObject()
            .add("continuousZoom", chance(2))
            .add("fixedZoomLevel", oneOf(std::array{0.75, 1.0, 1.5, 4.0}))
            .add("maxZoomLevel", oneOf(std::array{1.0, 2.5, 8.0}))
            .text();
    }

    std::string timing() {
        return TraceObject()
            .add("shareableContent",
                 oneOf(std::array{0.0, 0.02, 0.02, 0.02, 0.16, 0.3, 0.02, -0.1}))
            .add("startCapture", oneOf(std::array{0.0, 0.03, 0.03, 0.03, 0.2, -0.05}))
            .add("stopCapture", oneOf(std::array{0.0, 0.005, 0.2}))
            .add("firstFrame", oneOf(std::array{0.0, 0.016, 0.4}))
            .add("refresh", oneOf(std::array{60.0, 59.94, 144.0, 10.0}))
            .text();
    }

    // Each of three windows is there, is there and protected, or is not.
    std::string windows() {
        std::string windows;
        const auto add = [&](int id, const Rect& bounds) {
            if (chance(6))
                return;
            windows += windows.empty() ? "" : ", ";
            windows += TraceObject()
                           .add("id", id)
                           .add("pid", id)
                           .add("bounds", bounds)
                           .add("app", "App")
                           .add("shareable", !chance(8))
                           .text();
        };
        add(1, {100, 50, 800, 600});
        add(2, {700, 300, 500, 400});
        add(3, {1500, 100, 900, 700});
        return "[" + windows + "]";
    }

    std::string displays() {
        const std::string primary = R"({"frame": [0, 0, 1920, 1080]})";
        return chance(2) ? "[" + primary + R"(, {"frame": [1920, -100, 1280, 1024], "scale": 1}])"
                         : "[" + primary + "]";
    }

    TraceObject step(std::string_view name) {
        return TraceObject().add("t", static_cast<double>(milliseconds_) / 1000).add("do", name);
    }

    void add(const TraceObject& step) { steps_.push_back(step.text()); }
    // For a member that is JSON already.
    void add(const TraceObject& step, std::string_view key, const std::string& json) {
        std::string text = step.text();
        text.insert(text.size() - 1, ",\"" + std::string(key) + "\":" + json);
        steps_.push_back(text);
    }

    void addStep() {
        static constexpr std::array<int, 14> pauses{0,   0,   5,   17,  40,  60,   100,
                                                    140, 150, 200, 300, 520, 1100, 3300};
        milliseconds_ += oneOf(pauses);
        const int choice = below(100);
        if (choice < 15)
            addFlags();
        else if (choice < 20)
            addDoublePress();
        else if (choice < 27)
            addDoublePressAndPinch();
        else if (choice < 60)
            add(step("magnify").add("delta", (below(25) - 9) * 0.01));
        else if (choice < 75)
            addPointer();
        else if (choice < 80)
            add(step("key").add("code", chance(2) ? 53 : 48).add("flags", held_));
        else if (choice < 90)
            addCall();
        else
            addChange();
    }

    void addFlags() {
        static constexpr std::array<EventFlags, 5> modifiers{gateHeld, gateHeld, gateHeld, 0x100008,
                                                             0x40001};
        held_ ^= oneOf(modifiers);
        add(step("flags").add("flags", held_));
    }

    // Of the gate, and holds it. What it does depends on whether it was held before.
    void addDoublePress() {
        for (int i = 0; i < 3; ++i) {
            held_ ^= gateHeld;
            add(step("flags").add("flags", held_));
            milliseconds_ += 60;
        }
    }

    // Locks a lens, or shows another window in one that is locked.
    void addDoublePressAndPinch() {
        addDoublePress();
        addPointer();
        for (int i = 0; i < 3; ++i) {
            add(step("magnify").add("delta", 0.05));
            milliseconds_ += 30;
        }
        held_ ^= gateHeld;
        add(step("flags").add("flags", held_));
    }

    void addPointer() {
        // Where the windows are, or anywhere.
        const Rect area = chance(4) ? Rect{-50, -110, 3300, 1300} : Rect{100, 430, 1100, 600};
        add(step("pointer").add("at", Point{area.x + below(static_cast<int>(area.width)),
                                            area.y + below(static_cast<int>(area.height))}));
    }

    void addCall() {
        static constexpr std::array<std::string_view, 10> operations{
            "keyboardOpen", "keyboardOpen",     "keyboardSetLocked", "closeSession", "cancelEngage",
            "forceRelease", "debugForceEngage", "debugForceEngage",  "stop",         "start"};
        const std::string_view operation = oneOf(operations);
        TraceObject call = step("call").add("op", operation);
        if (operation == "keyboardSetLocked")
            call.add("locked", chance(2));
        add(call);
    }

    void addChange() {
        switch (below(6)) {
        case 0:
            return add(step("displays"), "displays", displays());
        case 1:
            return add(step("permissions")
                           .add("permissions", TraceObject().add("screenRecording", !chance(6))));
        case 2:
            return add(step("capture").add("frames", !chance(3)));
        case 3:
            return add(step("frame").add("status", below(4)).add("surface", !chance(3)));
        default:
            return add(step("windows"), "windows", windows());
        }
    }

    std::mt19937 random_;
    std::string head_;
    std::vector<std::string> steps_;
    int milliseconds_ = 600;
    EventFlags held_ = 0;
};

// Runs a scenario and looks at the session all the time.
class Watch {
public:
    explicit Watch(const Scenario& scenario)
        : scenario_(scenario), options_{.home = "",
                                        .files = files_,
                                        .print = [this](auto line) { follow(line); },
                                        .writePicture = {}},
          program_(scenario, options_) {
        const auto& timing = scenario.desktop.timing;
        // Streams that were asked for one after the other are started and stopped so, too.
        patience_ = fade + lookInterval +
                    10 * (std::abs(timing.shareableContent) + std::abs(timing.startCapture) +
                          timing.stopCapture);
        program_.launch();
        fixed_ = program_.zoom()->fixedZoom;
        max_ = program_.zoom()->maxZoom;
    }

    /// The step at which something was wrong, or nothing.
    std::optional<std::size_t> run() {
        for (std::size_t i = 0; i < scenario_.steps.size(); ++i) {
            const Step& step = scenario_.steps[i];
            while (now() + lookInterval < step.time) {
                program_.runUntil(now() + lookInterval);
                look();
            }
            program_.perform(step);
            look();
            if (!faults.empty())
                return i;
        }
        program_.finish();
        if (!program_.violations().empty())
            fail(program_.violations().front());
        if (faults.empty())
            return std::nullopt;
        return scenario_.steps.size() - 1;
    }

    std::vector<std::string> faults;

private:
    double now() const { return program_.desktop().timeline.now(); }

    void fail(const std::string& what) {
        if (faults.size() < 10)
            faults.push_back(std::to_string(now()) + ": " + what);
    }
    void require(bool holds, const char* what) {
        if (!holds)
            fail(what);
    }

    void follow(std::string_view line) {
        const auto has = [&](std::string_view part) {
            return line.find(part) != std::string_view::npos;
        };
        // The session can begin and end within one step.
        if (has("\"ARMED (") || has("\"ENGAGE ("))
            lastBusy_ = now();
        if (has("cannot engage: protected") || has("engage blocked: "))
            notices_.push_back(now());
        if (has("\"ev\":\"panel\",\"shown\":false"))
            hiddenByNotice_ = std::ranges::any_of(
                notices_, [&](double time) { return std::abs(time + notice - now()) < tolerance; });
    }

    void look() {
        const sim::SimDesktop& desktop = program_.desktop();
        const ZoomController::Snapshot session = program_.zoom()->snapshot();
        const OverlayPanel* panel = program_.zoom()->overlay().panel();
        const bool isShown = panel != nullptr && panel->isVisible();
        const bool isIdle = session.state == SessionState::idle;
        const bool hasLens = session.state == SessionState::active && session.sessionWindowID != 0;
        if (!isIdle)
            lastBusy_ = now();
        const double idleFor = now() - lastBusy_;

        for (const double zoom : {session.targetZoom, session.displayedZoom})
            require(zoom >= std::min(fixed_, zoom::minZoom) - tolerance &&
                        zoom <= std::max(max_, 2.0) + tolerance,
                    "the zoom is out of its bounds");
        require(session.belowFloorAccum >= 0 && session.belowFloorAccum < zoom::closeOvershoot,
                "a lens was pinched through the floor and is open");
        require(desktop.displayLinks.isRunning() ==
                    (session.state == SessionState::armed || hasLens),
                "the tick runs exactly while armed or while there is a lens");
        require(session.badgeShown || !(session.state == SessionState::armed || hasLens),
                "armed, or a lens, without a badge");
        require(isShown || hiddenByNotice_ || !(session.state == SessionState::armed || hasLens),
                "armed, or a lens, without a panel");
        require(session.state != SessionState::armed || session.sessionLocked,
                "armed and not to be locked");
        if (isIdle) {
            require(session.sessionWindowID == 0, "idle with a window");
            require(!session.sessionLocked, "idle and locked");
            require(!session.badgeShown, "idle with a badge");
            const double lastNotice = notices_.empty() ? never : notices_.back();
            require(!isShown || idleFor <= fade + lookInterval ||
                        now() - lastNotice <= notice + tolerance,
                    "idle with a panel on the screen");
            require(!desktop.captureStreams.isRunning() || idleFor <= patience_,
                    "idle with a stream that runs");
            require(!session.engageInFlight || idleFor <= patience_,
                    "idle with an attempt that does not end");
        }
        if (!program_.violations().empty())
            fail(program_.violations().front());
    }

    const Scenario& scenario_;
    sim::SimTextFiles files_;
    const ReplayOptions options_;
    // What is below is used by what the program prints.
    double lastBusy_ = never;
    std::vector<double> notices_;
    bool hiddenByNotice_ = false;
    double patience_ = 0;
    double fixed_ = 0;
    double max_ = 0;
    Program program_;
};

TEST(SessionRandomWalk, KeepsWhatMustHoldAndTheContracts) {
    const char* wanted = std::getenv("LENTORA_SESSION_WALK_STEPS");
    const int steps = wanted != nullptr ? std::atoi(wanted) : defaultSteps;
    const auto scenarios = (static_cast<std::uint32_t>(steps) - 1) / stepsPerScenario + 1;
    for (std::uint32_t seed = 1; seed <= scenarios; ++seed) {
        const ScenarioWriter writer(seed);
        const auto scenario = readScenario(writer.text());
        ASSERT_TRUE(std::holds_alternative<Scenario>(scenario))
            << std::get<ScenarioError>(scenario).pointer << ": "
            << std::get<ScenarioError>(scenario).message;
        Watch watch(std::get<Scenario>(scenario));
        const auto failedAt = watch.run();
        ASSERT_EQ(failedAt, std::nullopt)
            << "seed " << seed << ": " << testing::PrintToString(watch.faults)
            << "\nTo be replayed:\n"
            << writer.text(*failedAt);
    }
}

} // namespace
} // namespace lentora::replay
