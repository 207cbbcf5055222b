// The built program as a user starts it: the command line, watching, and what its sudden end means
// for everybody else.
#include "desktop/AppWindow.h"
#include "desktop/ChildProcess.h"
#include "support/TempFolder.h"
#include "testdesktop/TestDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

namespace lentora::test {
namespace {

using testdesktop::Key;
using testing::Contains;
using testing::HasSubstr;

class ProgramTest : public testing::Test {
protected:
    ChildProcess program(std::vector<std::string> arguments, const std::string& display = "") {
        arguments.insert(arguments.begin(), LENTORA_PROGRAM);
        return ChildProcess(arguments,
                            {{"DISPLAY", display}, {"HOME", home.path()}, {"XDG_STATE_HOME", ""}});
    }

    TempFolder home;
};

TEST_F(ProgramTest, AnswersBadCommandLinesWithTheUsageAndTwo) {
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"--bogus"},
                                               {"dance"},
                                               {"--gate", "command"},
                                               {"--max-zoom", "nan"},
                                               {"--fixed-zoom", "0.5"},
                                               {"--fixed-zoom", "4", "--max-zoom", "3"},
                                               {"--gate", "shift", "watch"},
                                               {"watch", "--gate", "alt"},
                                               {"replay"}}) {
        ChildProcess child = program(arguments);
        EXPECT_EQ(child.wait(), 2) << child.output();
        EXPECT_THAT(child.output(), testing::StartsWith("lentora: "));
        EXPECT_THAT(child.output(), HasSubstr("Usage: lentora"));
    }
    ChildProcess help = program({"--help"});
    EXPECT_EQ(help.wait(), 0);
    EXPECT_THAT(help.output(), testing::AllOf(HasSubstr("replay"), HasSubstr("watch")));
    ChildProcess version = program({"--version"});
    EXPECT_EQ(version.wait(), 0);
    EXPECT_THAT(version.output(), testing::MatchesRegex("lentora [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(ProgramTest, ReplaySaysInOneLineWhatIsWrongWithAFile) {
    ChildProcess missing = program({"replay", "/no/such/file"});
    EXPECT_EQ(missing.wait(), 2);
    EXPECT_EQ(missing.output(),
              "lentora: replay: /no/such/file: /: cannot be read: No such file or directory\n");
    ChildProcess folder = program({"replay", home.path()});
    EXPECT_EQ(folder.wait(), 2);
    EXPECT_THAT(folder.output(), HasSubstr("it is a folder"));
}

TEST_F(ProgramTest, WithoutADisplayWatchBringsItsOwn) {
    ChildProcess child = program({"watch", "--gate", "controlRight"});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_THAT(child.output(), HasSubstr("inputDidEngage(magnitude: 0.100)"));
    EXPECT_THAT(child.output(), HasSubstr("inputDidRelease(reason: gateUp)"));
}

TEST_F(ProgramTest, ADisplayThatDoesNotAnswerIsSaid) {
    ChildProcess child = program({"watch"}, ":9999");
    EXPECT_EQ(child.wait(), 1);
    EXPECT_THAT(child.output(), HasSubstr("no X server answers at :9999"));
}

TEST_F(ProgramTest, TheMagnifierSaysWhereItCannotRun) {
    ChildProcess none = program({});
    EXPECT_EQ(none.wait(), 1);
    EXPECT_THAT(none.output(),
                testing::EndsWith("lentora: no display is set: DISPLAY has to name an X server\n"));
    ChildProcess dead(
        {LENTORA_PROGRAM},
        {{"DISPLAY", ":9999"}, {"WAYLAND_DISPLAY", "wayland-0"}, {"HOME", home.path()}});
    EXPECT_EQ(dead.wait(), 1);
    EXPECT_THAT(dead.output(), HasSubstr("this is a Wayland session"));
    EXPECT_THAT(dead.output(), HasSubstr("no X server answers at :9999"));
}

class WatchTest : public ProgramTest {
protected:
    void SetUp() override {
        auto start = testdesktop::TestDesktop::start();
        ASSERT_TRUE(start.desktop) << start.error;
        desktop = std::move(start.desktop);
        app = std::make_unique<AppWindow>(desktop->displayName(), AppWindow::Protocol::core);
        watch = std::make_unique<ChildProcess>(
            std::vector<std::string>{LENTORA_PROGRAM, "watch"},
            std::vector<std::pair<std::string, std::string>>{{"DISPLAY", desktop->displayName()},
                                                             {"HOME", home.path()}});
        ASSERT_TRUE(watch->awaitOutput("Ctrl+C ends"));
        // The first key may bring the map of its keyboard with it.
        desktop->injector().tap(Key::ShiftL);
        app->takeEvents();
    }

    testdesktop::InputInjector& hands() { return desktop->injector(); }

    std::unique_ptr<testdesktop::TestDesktop> desktop;
    std::unique_ptr<AppWindow> app;
    std::unique_ptr<ChildProcess> watch;
};

TEST_F(WatchTest, ShowsGesturesUntilItIsInterrupted) {
    hands().press(Key::AltL);
    hands().pinch({1.0, 1.2});
    hands().release(Key::AltL);
    EXPECT_TRUE(watch->awaitOutput("inputDidRelease(reason: gateUp)"));
    ::kill(watch->pid(), SIGINT);
    EXPECT_EQ(watch->wait(), 0);
}

TEST_F(WatchTest, EndsWhenTheServerGoesAway) {
    app.reset();
    ::kill(desktop->serverPid(), SIGKILL);
    EXPECT_EQ(watch->wait(), 1);
    EXPECT_THAT(watch->output(), HasSubstr("the X server is gone"));
}

// A pinch that is under way holds motion and clicks. They must not stay held when the program that
// got the pinch is gone.
TEST_F(WatchTest, KilledInMidPinchItGivesInputBackAtOnce) {
    hands().press(Key::AltL);
    hands().pinchBegin();
    hands().pinchUpdate(1.3);
    ASSERT_TRUE(watch->awaitOutput("inputDidEngage"));
    app->takeEvents();
    hands().movePointer(400, 400);
    EXPECT_THAT(app->takeEvents(), testing::Not(testing::Contains("motion")));

    // At once, and not when some other thing happens; on a busy machine that takes a while.
    constexpr std::chrono::seconds limit{2};
    const auto killed = std::chrono::steady_clock::now();
    ::kill(watch->pid(), SIGKILL);
    EXPECT_EQ(watch->wait(), -SIGKILL);
    std::vector<std::string> events;
    int x = 400;
    const auto got = [&](const char* what) {
        return std::ranges::any_of(
            events, [&](const std::string& event) { return event.starts_with(what); });
    };
    while (!got("motion") || !got("button 1 down") || !got("key 38 down")) {
        hands().movePointer(++x, 400);
        hands().click(1);
        hands().tap(Key::A);
        std::ranges::copy(app->takeEvents(), std::back_inserter(events));
        ASSERT_LT(std::chrono::steady_clock::now() - killed, limit);
    }
}

TEST_F(WatchTest, StoppedItHoldsNothingBackFromTyping) {
    ::kill(watch->pid(), SIGSTOP);
    hands().tap(Key::A);
    EXPECT_THAT(app->takeEvents(), testing::ElementsAre("key 38 down", "key 38 up"));
    ::kill(watch->pid(), SIGCONT);

    hands().press(Key::AltL);
    ASSERT_TRUE(watch->awaitOutput("inputGateChanged(active: true)"));
    app->takeEvents();
    ::kill(watch->pid(), SIGSTOP);
    hands().tap(Key::A);
    hands().click(1);
    hands().release(Key::AltL);
    hands().tap(Key::Escape);
    EXPECT_THAT(app->takeEvents(),
                testing::ElementsAre("key 38 down state 8", "key 38 up state 8",
                                     "button 1 down state 8", "button 1 up state 8",
                                     "key 64 up state 8", "key 9 down", "key 9 up"));
    ::kill(watch->pid(), SIGCONT);
    EXPECT_TRUE(watch->awaitOutput("inputGateChanged(active: false)"));
}

} // namespace
} // namespace lentora::test
