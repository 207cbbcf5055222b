// The ground the other tests stand on: private servers that come quickly and go for certain.
#include "desktop/AppWindow.h"
#include "support/TempFolder.h"
#include "testdesktop/TestDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

namespace lentora::testdesktop {
namespace {

using test::AppWindow;
using testing::ElementsAre;

TEST(TestDesktop, SeveralRunAtOnceAndHearTheirOwnHandsOnly) {
    TestDesktopStart first;
    TestDesktopStart second;
    std::thread other([&] { second = TestDesktop::start(); });
    first = TestDesktop::start();
    other.join();
    ASSERT_TRUE(first.desktop) << first.error;
    ASSERT_TRUE(second.desktop) << second.error;
    EXPECT_NE(first.desktop->displayName(), second.desktop->displayName());
    AppWindow a(first.desktop->displayName(), AppWindow::Protocol::core);
    AppWindow b(second.desktop->displayName(), AppWindow::Protocol::core);
    first.desktop->injector().tap(Key::A);
    second.desktop->injector().tap(Key::B);
    EXPECT_THAT(a.takeEvents(), ElementsAre("key 38 down", "key 38 up"));
    EXPECT_THAT(b.takeEvents(), ElementsAre("key 56 down", "key 56 up"));
}

TEST(TestDesktop, LeavesNoFolderBehind) {
    const test::TempFolder parent;
    TestDesktopOptions options;
    options.parentFolder = parent.path();
    auto start = TestDesktop::start(options);
    ASSERT_TRUE(start.desktop) << start.error;
    EXPECT_FALSE(std::filesystem::is_empty(parent.path()));
    const pid_t server = start.desktop->serverPid();
    start.desktop.reset();
    EXPECT_TRUE(std::filesystem::is_empty(parent.path()));
    EXPECT_EQ(::kill(server, 0), -1);
}

TEST(TestDesktop, HandsSayWhenTheServerIsGone) {
    auto start = TestDesktop::start();
    ASSERT_TRUE(start.desktop) << start.error;
    EXPECT_TRUE(start.desktop->injector().tap(Key::A));
    ::kill(start.desktop->serverPid(), SIGKILL);
    EXPECT_FALSE(start.desktop->injector().tap(Key::A));
}

TEST(TestDesktop, AFolderThatCannotBeUsedIsAnOrdinaryFailure) {
    TestDesktopOptions options;
    options.parentFolder = "/no/such/folder";
    const auto start = TestDesktop::start(options);
    EXPECT_FALSE(start.desktop);
    EXPECT_THAT(start.error, testing::HasSubstr("/no/such/folder"));
}

} // namespace
} // namespace lentora::testdesktop
