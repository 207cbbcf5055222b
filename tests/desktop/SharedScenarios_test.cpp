// Scenarios of the simulated desktop, performed on a real one: the same windows, and hands that do
// the same at the same pace. The session has to go the same way.
#include "desktop/LensProgram.h"
#include "desktop/WindowClient.h"
#include "platform/EventTap.h"
#include "replay/Replay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <ranges>
#include <sstream>
#include <utility>

namespace lentora::test {
namespace {

using Clock = std::chrono::steady_clock;
using testdesktop::Key;

constexpr std::uint16_t escapeCode = 53;

std::string content(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// A line of the log that the session wrote, up to the numbers that the server gives to windows.
std::string withoutNumbers(const std::string& message) {
    return message.substr(0, message.find("' win "));
}

class SharedScenarios : public LensProgram, public testing::WithParamInterface<const char*> {
protected:
    SharedScenarios() {
        screenWidth = 1920;
        screenHeight = 1080;
    }

    void SetUp() override {
        LensProgram::SetUp();
        const std::string file = std::string(LENTORA_SCENARIO_DIR "/session_") + GetParam();
        const auto read = replay::readScenario(content(file + ".json"));
        ASSERT_TRUE(std::holds_alternative<replay::Scenario>(read));
        scenario = std::get<replay::Scenario>(read);
        std::istringstream lines(content(file + ".trace"));
        for (std::string line; std::getline(lines, line);) {
            const auto event = nlohmann::json::parse(line);
            if (event.value("ev", "") == "log" && event["category"] == "zoom")
                expected.emplace_back(event["t"].get<double>(),
                                      withoutNumbers(event["message"].get<std::string>()));
        }
    }

    // The first in the list is in front.
    void showWindows() {
        client = std::make_unique<WindowClient>(desktop->displayName());
        for (const sim::Window& window : std::views::reverse(scenario.desktop.windows)) {
            const Rect& at = window.bounds;
            const xcb_window_t made =
                client->createNamed(window.app.value_or("?"),
                                    {static_cast<int>(at.x), static_cast<int>(at.y),
                                     static_cast<int>(at.width), static_cast<int>(at.height)});
            client->setTitle(made, window.title.value_or(""));
        }
        client->finish();
    }

    std::vector<std::string> options() const {
        std::vector<std::string> arguments;
        // Where the scenario says nothing.
        if (scenario.settings == replay::Scenario().settings)
            return arguments;
        for (const auto& [key, value] : scenario.settings) {
            const auto* number = std::get_if<double>(&value);
            const auto* whole = std::get_if<std::int64_t>(&value);
            const double zoom = number != nullptr  ? *number
                                : whole != nullptr ? static_cast<double>(*whole)
                                                   : 0;
            if (key == "fixedZoomLevel" || key == "maxZoomLevel")
                arguments.insert(arguments.end(),
                                 {key == "fixedZoomLevel" ? "--fixed-zoom" : "--max-zoom",
                                  std::to_string(zoom)});
            else if (key == "continuousZoom")
                EXPECT_EQ(value, DefaultsValue(false)) << "a fixed zoom is not to be held to";
            else
                ADD_FAILURE() << "no option for " << key;
        }
        return arguments;
    }

    void movePointer(Point cocoa) {
        hands().movePointer(static_cast<int>(std::floor(cocoa.x)),
                            static_cast<int>(std::ceil(screenHeight - cocoa.y)));
    }

    void perform(const replay::Step& step) {
        if (const auto* event = std::get_if<InputEvent>(&step.action))
            return perform(*event);
        if (const auto* pointer = std::get_if<replay::PointerStep>(&step.action)) {
            endPinch();
            movePointer(pointer->at);
        }
        EXPECT_FALSE(std::holds_alternative<replay::CallStep>(step.action)) << "hands cannot call";
        // The others look on, or are of the simulated capture.
    }

    void perform(const InputEvent& event) {
        if (event.type == EventType::magnify) {
            if (!std::exchange(isPinching, true)) {
                hands().pinchBegin();
                scale = 1;
            }
            hands().pinchUpdate(scale += event.magnification);
            return;
        }
        endPinch();
        if (event.type == EventType::flagsChanged) {
            hold(Key::AltL, (event.flags & eventFlag::option) != 0);
            hold(Key::SuperL, (event.flags & eventFlag::command) != 0);
        } else if (event.type == EventType::keyDown && event.keyCode == escapeCode) {
            hands().tap(Key::Escape);
        } else {
            ADD_FAILURE() << "hands cannot do this";
        }
    }

    // A pinch holds back the motion of the pointer.
    void endPinch() {
        if (std::exchange(isPinching, false))
            hands().pinchEnd();
    }

    void hold(Key key, bool down) {
        const bool wasDown = std::exchange(held[key], down);
        if (down && !wasDown)
            hands().press(key);
        else if (!down && wasDown)
            hands().release(key);
    }

    std::vector<std::string> sessionLines() const {
        std::vector<std::string> found;
        std::istringstream lines(log());
        const std::string mark = "] [zoom] ";
        for (std::string line; std::getline(lines, line);) {
            if (const auto at = line.find(mark); at != std::string::npos)
                found.push_back(withoutNumbers(line.substr(at + mark.size())));
        }
        return found;
    }

    std::vector<std::string> expectedBefore(double time) const {
        std::vector<std::string> lines;
        for (const auto& [when, line] : expected) {
            if (when < time)
                lines.push_back(line);
        }
        return lines;
    }

    // How late the hands were at worst, in seconds.
    double performAll() {
        movePointer(scenario.desktop.pointer);
        launch(options());
        double lateness = 0;
        const auto begin = Clock::now();
        const double beginning = scenario.steps.front().time;
        for (const replay::Step& step : scenario.steps) {
            const std::chrono::duration<double> due(step.time - beginning);
            const bool isDue = eventually([&] {
                return Clock::now() - begin >= due &&
                       sessionLines().size() >= expectedBefore(step.time).size();
            });
            // Not the hands' fault.
            if (!isDue)
                break;
            const std::chrono::duration<double> late = Clock::now() - begin - due;
            lateness = std::max(lateness, late.count());
            perform(step);
        }
        return lateness;
    }

    replay::Scenario scenario;
    std::vector<std::pair<double, std::string>> expected;
    std::unique_ptr<WindowClient> client;
    std::map<Key, bool> held;
    bool isPinching = false;
    double scale = 1;
};

// Seconds that hands may be late: some lie between a gesture's times and where it means another.
constexpr double latest = 0.05;

TEST_P(SharedScenarios, GoTheSameWayOnARealServer) {
    showWindows();
    const auto all = expectedBefore(scenario.steps.back().time + scenario.tail);
    // Who was late has done something else, and does it again.
    constexpr int tries = 4;
    double lateness = 0;
    for (int i = 0; i < tries; ++i) {
        ASSERT_NO_FATAL_FAILURE(lateness = performAll());
        const bool isComplete = eventually([&] { return sessionLines().size() >= all.size(); });
        if (lateness <= latest || (isComplete && sessionLines() == all))
            break;
        hands().releaseAll();
        held.clear();
        isPinching = false;
        program.reset();
    }
    EXPECT_THAT(sessionLines(), testing::ElementsAreArray(all)) << "late by " << lateness;
}

INSTANTIATE_TEST_SUITE_P(Session, SharedScenarios,
                         testing::Values("pinch", "focus", "detach", "retarget", "zoom_law",
                                         "locked_floor"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
} // namespace lentora::test
