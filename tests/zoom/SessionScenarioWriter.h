// Random scenarios of the whole session: gestures, keys, pointer moves and changes of the desktop,
// on a platform that answers late or not at all.
#pragma once

#include "input/EventFlags.h"
#include "replay/Trace.h"
#include "support/Rect.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace lentora::test {

using replay::TraceObject;

inline constexpr int stepsPerScenario = 100;

/// The same seed writes the same scenario.
class SessionScenarioWriter {
public:
    explicit SessionScenarioWriter(std::uint32_t seed) : random_(seed) {
        head_ = R"({"launch": "session", "settings": )" + settings() + R"(, "timing": )" +
                timing() + R"(, "displays": )" + displays() + R"(, "windows": )" + windows() +
                R"(, "pointer": [300, 700], "steps": [)";
        while (steps_.size() < std::size_t{stepsPerScenario})
            addStep();
    }

    const std::vector<std::string>& steps() const { return steps_; }

    /// The scenario with these of its steps.
    std::string text(const std::vector<std::string>& steps) const {
        std::string text = head_;
        for (std::size_t i = 0; i < steps.size(); ++i)
            text += (i > 0 ? ",\n" : "\n") + steps[i];
        return text + R"(], "tail": 5})";
    }

private:
    static constexpr EventFlags gateHeld = 0x80020;

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
        else if (choice < 32)
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
        constexpr Rect firstTwoWindows{100, 430, 1100, 600};
        constexpr Rect thirdWindow{1500, 280, 900, 700};
        constexpr Rect anywhere{-50, -110, 3300, 1300};
        const Rect area =
            oneOf(std::array{firstTwoWindows, firstTwoWindows, thirdWindow, anywhere});
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

} // namespace lentora::test
