#include "replay/Scenario.h"

#include <gtest/gtest.h>

#include <string>

namespace lentora::replay {
namespace {

// The scenario with a minimum around the members given.
std::string scenarioWith(const std::string& members) {
    return R"({"launch": "backend", "steps": [])" + (members.empty() ? "" : ", " + members) + "}";
}

std::string stepsWith(const std::string& steps) {
    return R"({"launch": "backend", "steps": [)" + steps + "]}";
}

std::string sessionWith(const std::string& steps) {
    return R"({"launch": "session", "steps": [)" + steps + "]}";
}

// "pointer: message", or "" when the text is a scenario.
std::string errorIn(const std::string& text) {
    const auto result = readScenario(text);
    if (const auto* error = std::get_if<ScenarioError>(&result))
        return error->pointer + ": " + error->message;
    return "";
}

TEST(ScenarioReader, FillsInTheDefaults) {
    const auto result = readScenario(scenarioWith(""));
    const auto& scenario = std::get<Scenario>(result);
    EXPECT_EQ(scenario.desktop.displays.size(), 1U);
    EXPECT_EQ(scenario.desktop.displays[0].frame, (Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(scenario.desktop.pointer, (Point{960, 540}));
    EXPECT_EQ(scenario.settings.size(), 2U);
    EXPECT_EQ(scenario.locale, Locale::keys);
}

TEST(ScenarioReader, ReadsEveryPart) {
    const auto result = readScenario(R"({
        "launch": "backend", "backend": "tapHID", "locale": "it", "tail": 2,
        "displays": [{"frame": [0, 0, 100, 50], "scale": 1}, {"frame": [100, 0, 50, 50]}],
        "windows": [{"id": 7, "pid": 3, "bounds": [1, 2, 3, 4], "layer": -5, "title": "t"}],
        "frontmost": {"pid": 3, "focused": 7}, "pointer": [-1, 2.5],
        "permissions": {"accessibility": false}, "alertAnswers": [0, 1],
        "settings": {"gateModifier": "fn", "hotkeyKeyCode": 6, "fixedZoomLevel": 1.5, "x": true},
        "timing": {"shareableContent": -0.5, "refresh": 120},
        "steps": [{"t": 0.5, "do": "flags", "flags": "0x80020"},
                  {"t": 0.5, "do": "magnify", "delta": -0.1, "phase": "ended", "flags": 32},
                  {"t": 1, "do": "key", "code": 53, "down": false, "chars": "\u001b"},
                  {"t": 1, "do": "frame", "status": 3, "surface": false},
                  {"t": 1, "do": "frame"}, {"t": 1, "do": "capture", "frames": false}]})");
    ASSERT_TRUE(std::holds_alternative<Scenario>(result))
        << std::get<ScenarioError>(result).message;
    const auto& scenario = std::get<Scenario>(result);
    EXPECT_EQ(scenario.desktop.displays[1].scale, 2);
    EXPECT_EQ(scenario.desktop.windows[0].layer, -5);
    EXPECT_FALSE(scenario.desktop.permissions.accessibility);
    EXPECT_TRUE(scenario.desktop.permissions.inputMonitoring);
    EXPECT_EQ(scenario.desktop.timing.shareableContent, -0.5);
    EXPECT_EQ(scenario.settings[1].second, DefaultsValue(std::int64_t{6}));
    EXPECT_EQ(std::get<InputEvent>(scenario.steps[0].action).flags, 0x80020U);
    EXPECT_EQ(std::get<InputEvent>(scenario.steps[1].action).phase, GesturePhase::ended);
    EXPECT_EQ(std::get<InputEvent>(scenario.steps[2].action).type, EventType::keyUp);
    EXPECT_EQ(std::get<FrameStep>(scenario.steps[3].action).status, SampleStatus::suspended);
    EXPECT_FALSE(std::get<FrameStep>(scenario.steps[3].action).surface);
    EXPECT_EQ(std::get<FrameStep>(scenario.steps[4].action).status, SampleStatus::complete);
    EXPECT_TRUE(std::get<FrameStep>(scenario.steps[4].action).surface);
    EXPECT_FALSE(std::get<CaptureStep>(scenario.steps[5].action).frames);
}

struct BadScenario {
    std::string text;
    std::string error;
};

class BadScenarios : public testing::TestWithParam<BadScenario> {};

TEST_P(BadScenarios, SayWhereAndWhat) {
    const std::string error = errorIn(GetParam().text);
    EXPECT_TRUE(error.starts_with(GetParam().error)) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadScenarios,
    testing::Values(
        BadScenario{"", "/: not JSON"}, BadScenario{"{\"steps\": [", "/: not JSON"},
        BadScenario{"\xFF", "/: not JSON"}, BadScenario{"[]", "/: must be an object"},
        BadScenario{R"({"launch": "backend"})", "/steps: is missing"},
        BadScenario{R"({"steps": []})", "/launch: this version"},
        BadScenario{R"({"launch": "all", "steps": []})", "/launch: unknown value \"all\""},
        BadScenario{R"({"steps": [], "steps": []})", "/: not JSON: the key \"steps\" occurs twice"},
        BadScenario{scenarioWith(R"("a/b~c": 1)"), "/a~1b~0c: unknown key"},
        BadScenario{scenarioWith(R"("tail": -1)"), "/tail: must be 0 or more"},
        BadScenario{scenarioWith(R"("tail": 1e999)"), "/: not JSON"},
        BadScenario{scenarioWith(R"("pointer": [1])"), "/pointer: must be a point"},
        BadScenario{scenarioWith(R"("pointer": [1, "2"])"), "/pointer/1: must be a number"},
        BadScenario{scenarioWith(R"("displays": [])"), "/displays: must hold at least one"},
        BadScenario{scenarioWith(R"("displays": [{"frame": [0, 0, -1, 1]}])"),
                    "/displays/0/frame: must have a width"},
        BadScenario{scenarioWith(R"("displays": [{"frame": [0, 0, 1, 1], "scale": 0}])"),
                    "/displays/0/scale: must be greater"},
        BadScenario{scenarioWith(R"("windows": [{"id": 1, "pid": 2}])"),
                    "/windows/0/bounds: is missing"},
        BadScenario{scenarioWith(R"("windows": [{"id": 4294967296, "pid": 2}])"),
                    "/windows/0/id: must be from 1 to 4294967295"},
        BadScenario{scenarioWith(R"("windows": [{"id": 18446744073709551615, "pid": 2}])"),
                    "/windows/0/id: must be from"},
        BadScenario{scenarioWith(R"("windows": [{"id": 1, "pid": 2, "bounds": [0, 0, 1, 1]},
                                                {"id": 1, "pid": 2, "bounds": [0, 0, 1, 1]}])"),
                    "/windows/1/id: another window"},
        BadScenario{scenarioWith(R"("windows": [{"id": 1, "pid": 2, "bounds": [0, 0, 1, 1],
                                                "color": "red"}])"),
                    "/windows/0/color: must be a color"},
        BadScenario{scenarioWith(R"("settings": {"a": null})"), "/settings/a: must be true"},
        BadScenario{scenarioWith(R"("backend": "nseventGlobal")"), "/backend: this version"},
        BadScenario{scenarioWith(R"("locale": "de")"), "/locale: unknown value"},
        BadScenario{scenarioWith(R"("timing": {"refresh": 0})"),
                    "/timing/refresh: must be greater"},
        BadScenario{stepsWith("1"), "/steps/0: must be an object"},
        BadScenario{stepsWith(R"({"do": "dump"})"), "/steps/0/t: is missing"},
        BadScenario{stepsWith(R"({"t": -1, "do": "dump"})"), "/steps/0/t: must be 0 or more"},
        BadScenario{stepsWith(R"({"t": 1, "do": "dump"}, {"t": 0.5, "do": "dump"})"),
                    "/steps/1/t: must not be before"},
        BadScenario{stepsWith(R"({"t": 1, "do": "jump"})"), "/steps/0/do: unknown step \"jump\""},
        BadScenario{stepsWith(R"({"t": 1, "do": "dump", "x": 1})"), "/steps/0/x: unknown key"},
        BadScenario{stepsWith(R"({"t": 1, "do": "flags", "flags": -1})"),
                    "/steps/0/flags: must be flags"},
        BadScenario{stepsWith(R"({"t": 1, "do": "flags", "flags": "0x"})"),
                    "/steps/0/flags: must be flags"},
        BadScenario{stepsWith(R"({"t": 1, "do": "flags", "flags": "0x11112222333344445"})"),
                    "/steps/0/flags: must be flags"},
        BadScenario{stepsWith(R"({"t": 1, "do": "key", "code": 70000})"),
                    "/steps/0/code: must be from 0 to 65535"},
        BadScenario{stepsWith(R"({"t": 1, "do": "mouse", "type": "up"})"),
                    "/steps/0/type: unknown"},
        BadScenario{stepsWith(R"({"t": 1, "do": "frame", "status": 4})"),
                    "/steps/0/status: must be from 0 to 3"},
        BadScenario{stepsWith(R"({"t": 1, "do": "capture"})"), "/steps/0/frames: is missing"},
        BadScenario{stepsWith(R"({"t": 1, "do": "call", "op": "start", "locked": true})"),
                    "/steps/0/locked: only goes with"},
        BadScenario{stepsWith(R"({"t": 1, "do": "call", "op": "keyboardOpen"})"),
                    "/steps/0/op: needs the zoom session"},
        BadScenario{stepsWith(R"({"t": 1, "do": "call", "op": "quit"})"),
                    "/steps/0/op: needs the application"},
        BadScenario{sessionWith(R"({"t": 1, "do": "call", "op": "quit"})"),
                    "/steps/0/op: needs the application"},
        BadScenario{sessionWith(R"({"t": 1, "do": "call", "op": "keyboardSetLocked"})"),
                    "/steps/0/locked: is missing"},
        BadScenario{stepsWith(R"({"t": 1, "do": "png", "file": "a.png"})"),
                    "/steps/0/do: \"png\" needs the zoom session"},
        BadScenario{sessionWith(R"({"t": 1, "do": "png"})"), "/steps/0/file: is missing"},
        BadScenario{sessionWith(R"({"t": 1, "do": "png", "file": "../a.png"})"),
                    "/steps/0/file: must be a file name"},
        BadScenario{sessionWith(R"({"t": 1, "do": "png", "file": ".."})"),
                    "/steps/0/file: must be a file name"}));

TEST(ScenarioReader, SurvivesDeepNesting) {
    EXPECT_NE(errorIn(std::string(200'000, '[')), "");
    EXPECT_NE(errorIn(scenarioWith("\"windows\": " + std::string(50'000, '[') +
                                   std::string(50'000, ']'))),
              "");
}

} // namespace
} // namespace lentora::replay
