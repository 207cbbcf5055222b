// `lentora windows` on a real server.
#include "desktop/ChildProcess.h"
#include "desktop/WindowClient.h"
#include "support/TempFolder.h"
#include "testdesktop/TestDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

namespace lentora::test {
namespace {

using testing::HasSubstr;

class WindowsCommandTest : public testing::Test {
protected:
    std::string output(std::vector<std::string> arguments, const std::string& display,
                       int exitCode = 0) {
        arguments.insert(arguments.begin(), {LENTORA_PROGRAM, "windows"});
        ChildProcess child(arguments, {{"DISPLAY", display},
                                       {"HOME", home.path()},
                                       {"XDG_DATA_DIRS", home.path()},
                                       {"XDG_DATA_HOME", ""}});
        EXPECT_EQ(child.wait(), exitCode) << child.output();
        return child.output();
    }

    TempFolder home;
};

TEST_F(WindowsCommandTest, ListsTheWindowsAndTheOneForALens) {
    auto [server, error] = testdesktop::TestDesktop::start();
    ASSERT_TRUE(server) << error;
    WindowClient app(server->displayName());
    const xcb_window_t document = app.createNamed("Firefox", {100, 100, 600, 400});
    app.setTitle(document, "A \"page\"\x1B[2J");
    const xcb_window_t palette = app.createNamed("Palette", {120, 120, 100, 100});
    app.setAtoms(palette, "_NET_WM_STATE", {"_NET_WM_STATE_ABOVE"});
    const xcb_window_t tiny = app.createNamed("Tiny", {110, 110, 39, 60});
    // An application is what all windows of a process have in common.
    for (const xcb_window_t window : {palette, tiny})
        app.setClass(window, "Firefox");
    app.focus(document);
    app.finish();
    server->injector().movePointer(130, 130);

    const auto json = nlohmann::json::parse(output({"--json"}, server->displayName()));
    EXPECT_EQ(json["chosen"], document);
    EXPECT_EQ(json["pointer"]["x"], 130);
    EXPECT_EQ(json["pointer"]["y"], 130);
    EXPECT_EQ(json["screen"]["width"], 1920);
    ASSERT_EQ(json["windows"].size(), 3U);
    const auto& first = json["windows"][0];
    EXPECT_EQ(first["number"], tiny);
    EXPECT_EQ(first["eligible"], false);
    EXPECT_EQ(json["windows"][1]["layer"], 3);
    const auto& last = json["windows"][2];
    EXPECT_EQ(last["pid"], ::getpid());
    EXPECT_EQ(last["identifier"], "org.mozilla.firefox");
    EXPECT_EQ(last["title"], "A \"page\"[2J");
    EXPECT_EQ(last["bounds"]["width"], 600);
    EXPECT_EQ(last["focused"], true);

    const std::string text = output({}, server->displayName());
    EXPECT_THAT(text, HasSubstr(">  0"));
    EXPECT_THAT(text, HasSubstr("(100,100 600x400)"));
    EXPECT_THAT(text, HasSubstr("CHOSEN via AX focused window 600x400 'Firefox'"));

    server->injector().movePointer(5, 5);
    const auto nothing = nlohmann::json::parse(output({"--json"}, server->displayName()));
    EXPECT_TRUE(nothing["chosen"].is_null());
    EXPECT_EQ(nothing["error"], "noWindow");
}

TEST_F(WindowsCommandTest, SaysThatThereIsNoDesktop) {
    EXPECT_EQ(output({}, "", 1), "lentora: windows: no display: DISPLAY is not set\n");
    EXPECT_EQ(output({"--json"}, ":9999", 1), "lentora: windows: no X server answers at :9999\n");
}

} // namespace
} // namespace lentora::test
