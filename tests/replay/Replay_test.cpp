// Every scenario in tests/scenarios is replayed and its trace compared with the file beside it.
#include "platform/posix/PosixTextFiles.h"
#include "replay/Replay.h"
#include "replay/Trace.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace lentora::replay {
namespace {

namespace fs = std::filesystem;

std::string content(const fs::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

struct Outcome {
    std::string trace;
    std::vector<std::string> violations;
    std::vector<std::pair<std::string, Picture>> pictures;
};

Outcome replayed(const std::string& text, const std::string& home) {
    const auto scenario = readScenario(text);
    if (const auto* error = std::get_if<ScenarioError>(&scenario))
        return {error->pointer + ": " + error->message, {}, {}};
    posix::PosixTextFiles files;
    Outcome outcome;
    outcome.violations = replay(std::get<Scenario>(scenario),
                                {.home = home,
                                 .files = files,
                                 .print =
                                     [&](std::string_view line) {
                                         outcome.trace += line;
                                         outcome.trace += '\n';
                                     },
                                 .writePicture =
                                     [&](const Picture& picture, const std::string& file) {
                                         outcome.pictures.emplace_back(file, picture);
                                     }});
    return outcome;
}

std::vector<fs::path> scenarioFiles() {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(LENTORA_SCENARIO_DIR)) {
        if (entry.path().extension() == ".json")
            files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

class Scenarios : public testing::TestWithParam<fs::path> {};

TEST_P(Scenarios, PrintTheirTraceAndKeepTheContracts) {
    const test::TempFolder home;
    const Outcome outcome = replayed(content(GetParam()), home.path());
    EXPECT_THAT(outcome.violations, testing::IsEmpty());
    EXPECT_EQ(outcome.trace, content(fs::path(GetParam()).replace_extension(".trace")));
}

INSTANTIATE_TEST_SUITE_P(All, Scenarios, testing::ValuesIn(scenarioFiles()),
                         [](const auto& test) { return test.param.stem().string(); });

TEST(Replay, WritesTheLogIntoTheHomeFolderOfTheProgram) {
    const test::TempFolder home;
    replayed(R"({"launch": "backend", "steps": [{"t": 1.5, "do": "flags", "flags": "0x80020"}]})",
             home.path());
    EXPECT_EQ(content(home.path() + "/Library/Logs/Lentora/spike.log"),
              "===== Lentora spike log — launch 00:00:00.000 =====\n"
              "[00:00:00.000] [input] CGEventTap installed on dedicated thread (session)\n"
              "[00:00:01.500] [gate] [tap] effective gate ACTIVE (physical=true locked=false)\n"
              "[00:00:01.500] [input] CGEventTap stopped\n");
}

TEST(Replay, MakesAPictureOfTheDisplayThatThePanelIsOn) {
    const test::TempFolder home;
    const Outcome outcome = replayed(R"({"launch": "session",
        "displays": [{"frame": [0, 0, 400, 300], "scale": 2}], "pointer": [150, 150],
        "windows": [{"id": 7, "pid": 3, "bounds": [50, 50, 200, 200], "app": "A", "color": "#ff0000"},
                    {"id": 8, "pid": 3, "bounds": [140, 240, 40, 40], "color": "#00ff00"}],
        "settings": {"fixedZoomLevel": 2}, "tail": 1,
        "steps": [{"t": 0.9, "do": "png", "file": "before.png"},
                  {"t": 1, "do": "call", "op": "keyboardOpen"},
                  {"t": 2, "do": "png", "file": "lens.png"},
                  {"t": 2, "do": "call", "op": "closeSession"}]})",
                                     home.path());
    EXPECT_THAT(outcome.violations, testing::IsEmpty());
    ASSERT_EQ(outcome.pictures.size(), 1U) << "no panel, no picture";
    const auto& [file, picture] = outcome.pictures[0];
    EXPECT_EQ(file, "lens.png");
    EXPECT_EQ(picture.width(), 800);
    EXPECT_EQ(picture.height(), 600);
    // Pixels from the top left corner. The green window reaches 10 points into the red one; in the
    // lens, it begins farther from the pointer.
    EXPECT_EQ(picture.at(310, 490), (Pixel{255, 0, 0, 255}));
    EXPECT_EQ(picture.at(310, 520), (Pixel{0, 255, 0, 255}));
}

TEST(Trace, PrintsTheShortestNumbersAndAlwaysValidText) {
    TraceObject line = traceLine(2, "x");
    line.add("a", 0.1 + 0.2).add("b", 1e-7).add("c", "\"\n\xFF").addSetting("d", std::int64_t{-5});
    line.add("e", TraceObject().add("f", true)).addFlags("g", 0x80020);
    line.add("h", 4294967295U).add("i", Rect{-1, 2.5, 3e6, 0}).add("j", TraceArray());
    line.add("k", TraceArray().add(7).add("\""));
    EXPECT_EQ(line.text(), "{\"t\":2,\"ev\":\"x\",\"a\":0.30000000000000004,\"b\":1e-07,"
                           "\"c\":\"\\\"\\n\uFFFD\",\"d\":-5,\"e\":{\"f\":true},\"g\":\"0x80020\","
                           "\"h\":4294967295,\"i\":[-1,2.5,3e+06,0],\"j\":[],\"k\":[7,\"\\\"\"]}");
}

TEST(Trace, ShowsWhatAStreamCapturesAndLeavesOut) {
    CaptureFilter filter;
    for (const std::uint32_t id : {9U, 4U})
        filter.excludedWindows.emplace_back().windowID = id;
    CaptureConfiguration configuration;
    configuration.width = 800;
    configuration.height = 600;
    configuration.sourceRect = {10, 20.5, 400, 300};
    configuration.minimumFrameInterval = 0.03125;
    const std::string rest = R"("source":[10,20.5,400,300],"pixels":[800,600],"interval":0.03125})";
    EXPECT_EQ(streamLine(1.5, {true, filter, configuration}).text(),
              R"({"t":1.5,"ev":"stream","running":true,"windows":[9,4],)" + rest);
    filter.includingApplications = {{3, "a"}, {5, "b"}};
    EXPECT_EQ(streamLine(2, {false, filter, configuration}).text(),
              R"({"t":2,"ev":"stream","running":false,"windows":[9,4],"applications":[3,5],)" +
                  rest);
}

} // namespace
} // namespace lentora::replay
