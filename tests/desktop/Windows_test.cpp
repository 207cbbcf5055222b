// The windows of a real X server, with a window manager and without one.
#include "desktop/WindowFixture.h"
#include "platform/WindowList.h"
#include "platform/x11/PanelServer.h"
#include "platform/x11/PanelWindow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/composite.h>

#include <csignal>
#include <future>

namespace lentora::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using WindowsTest = WindowFixture;

TEST_F(WindowsTest, WithoutAManagerTheStackIsTheServersAndWhatIsNotSeenIsNotInIt) {
    const xcb_window_t one = app->createNamed("one", {0, 0, 100, 100});
    const xcb_window_t two = app->createNamed("two", {10, 10, 100, 100}, {.border = 3});
    const xcb_window_t menu =
        app->createNamed("menu", {20, 20, 100, 100}, {.overrideRedirect = true});
    app->createNamed("unmapped", {0, 0, 100, 100}, {.mapped = false});
    app->createNamed("input only", {0, 0, 100, 100}, {.inputOnly = true});
    app->createNamed("beside the screen", {-200, 0, 100, 100});
    EXPECT_THAT(titles(), ElementsAre("menu", "two", "one"));
    EXPECT_EQ(titled("two").bounds, (Rect{10, 10, 106, 106}));
    EXPECT_EQ(titled("two").layer, windowLayer::normal);

    app->raise(one);
    EXPECT_THAT(titles(), ElementsAre("one", "menu", "two"));
    app->lower(menu);
    app->putAbove(two, one);
    EXPECT_THAT(titles(), ElementsAre("two", "one", "menu"));
    xcb_circulate_window(app->connection().get(), XCB_CIRCULATE_LOWER_HIGHEST, app->root());
    EXPECT_THAT(titles(), ElementsAre("one", "menu", "two"));
    app->unmap(one);
    app->move(two, 500, 600);
    app->resize(two, 50, 60);
    EXPECT_THAT(titles(), ElementsAre("menu", "two"));
    EXPECT_EQ(titled("two").bounds, (Rect{500, 600, 56, 66}));

    // Who comes later sees the same.
    watch();
    EXPECT_THAT(titles(), ElementsAre("menu", "two"));
    app->map(one);
    app->destroy(menu);
    EXPECT_THAT(titles(), ElementsAre("one", "two"));
}

TEST_F(WindowsTest, ANumberThatIsGivenAgainIsAnotherWindow) {
    const xcb_window_t id = app->createNamed("first", {0, 0, 100, 100});
    const auto first = titled("first");
    app->destroy(id);
    app->createNamed("second", {5, 5, 50, 50}, {.id = id});
    const auto second = titled("second");
    EXPECT_EQ(second.id, id);
    EXPECT_EQ(second.bounds, (Rect{5, 5, 50, 50}));
    EXPECT_NE(second.generation, first.generation);
    EXPECT_EQ(desktop->generationOf(id), second.generation);
    EXPECT_THAT(titles(), ElementsAre("second"));
}

TEST_F(WindowsTest, TheFocusIsWhereKeysGoWhenNobodyManages) {
    const xcb_window_t window = app->createNamed("window", {0, 0, 100, 100});
    EXPECT_EQ(now()->focusedWindow, std::nullopt);
    const xcb_window_t inside = app->create({0, 0, 10, 10}, {.parent = window});
    app->focus(inside);
    EXPECT_EQ(now()->focusedWindow, window);
    x11::X11Applications applications(*desktop, identities);
    x11::X11FocusedWindows focused(*desktop);
    EXPECT_EQ(applications.frontmostPid(), applications.ownPid());
    EXPECT_EQ(focused.focusedWindow(applications.ownPid()), window);
    EXPECT_EQ(focused.focusedWindow(1), std::nullopt);
}

// What a compositing manager draws on lies above everything, and the server tells of it.
TEST_F(WindowsTest, TheOverlayOfACompositingManagerIsNoWindow) {
    app->createNamed("window", {0, 0, 100, 100});
    EXPECT_THAT(titles(), ElementsAre("window"));
    const x11::XcbPtr<xcb_composite_get_overlay_window_reply_t> overlay(
        xcb_composite_get_overlay_window_reply(
            app->connection().get(),
            xcb_composite_get_overlay_window(app->connection().get(), app->root()), nullptr));
    ASSERT_TRUE(overlay);
    EXPECT_THAT(titles(), ElementsAre("window"));
    app->createNamed("another", {0, 0, 100, 100});
    EXPECT_THAT(titles(), ElementsAre("another", "window"));
}

// Else a lens would find itself, or count as covering what it shows.
TEST_F(WindowsTest, PanelsOfThisProgramAreAboveAllThatCanBeMeant) {
    std::string error;
    const auto panels = x11::PanelServer::open(server->displayName(), error);
    ASSERT_TRUE(panels) << error;
    x11::PanelWindow panel(panels, {100, 100, 300, 200});
    panel.map();
    xcb_flush(panels->get());
    const x11::XcbPtr<xcb_get_input_focus_reply_t> carriedOut(
        xcb_get_input_focus_reply(panels->get(), xcb_get_input_focus(panels->get()), nullptr));
    const x11::DesktopWindow* const found = now()->find(panel.id());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->layer, windowLayer::screenSaver);
}

class ManagedWindowsTest : public WindowFixture {
protected:
    void startManager() { manager = std::make_unique<FakeWindowManager>(server->displayName()); }

    xcb_window_t client(const std::string& name) {
        const xcb_window_t window = app->createNamed(name, {0, 0, 10, 10}, {.mapped = false});
        app->finish();
        return window;
    }

    void expectFramedWindows() {
        EXPECT_THAT(titles(), ElementsAre("menu", "wrapped", "framed", "bare"));
        EXPECT_EQ(titled("framed").id, frame);
        EXPECT_EQ(titled("wrapped").id, wrappedFrame);
        // The frame as far as it can be seen.
        EXPECT_EQ(titled("framed").bounds, (Rect{96, 80, 308, 224}));
        EXPECT_EQ(titled("wrapped").bounds, (Rect{496, 80, 308, 224}));
        EXPECT_EQ(titled("framed").layer, windowLayer::normal);
        EXPECT_EQ(titled("framed").className, "framed");
    }

    std::unique_ptr<FakeWindowManager> manager;
    xcb_window_t frame = 0;
    xcb_window_t wrappedFrame = 0;
};

TEST_F(ManagedWindowsTest, FramesStandForTheClientsInThem) {
    const xcb_window_t framed = client("framed");
    const xcb_window_t wrapped = client("wrapped");
    const xcb_window_t bare = client("bare");
    startManager();
    frame = manager->manage(framed, {100, 100, 300, 200});
    manager->manageBare(bare);
    wrappedFrame = manager->manage(wrapped, {500, 100, 300, 200}, true);
    app->createNamed("menu", {0, 0, 50, 50}, {.overrideRedirect = true});
    expectFramedWindows();
    watch();
    expectFramedWindows();

    manager->setActive(wrapped);
    EXPECT_EQ(now()->focusedWindow, wrappedFrame);
    manager->setActive(0);
    EXPECT_EQ(now()->focusedWindow, std::nullopt);

    // The client grows in its frame, and the frame moves.
    manager->resize(framed, 400, 250);
    manager->resize(frame, 428, 294);
    manager->move(frame, 186, 170);
    manager->finish();
    EXPECT_EQ(titled("framed").bounds, (Rect{196, 180, 408, 274}));
    app->setTitle(framed, "renamed");
    EXPECT_EQ(titled("renamed").id, frame);

    manager->release(framed, frame);
    EXPECT_EQ(titled("renamed").id, framed);
    app->destroy(wrapped);
    app->finish();
    EXPECT_THAT(titles(), Not(Contains("wrapped")));
}

TEST_F(ManagedWindowsTest, AManagerWithoutListsIsSeenByWhatItWritesOnClients) {
    const xcb_window_t framed = client("framed");
    const xcb_window_t wrapped = client("wrapped");
    startManager();
    frame = manager->manage(framed, {100, 100, 300, 200});
    wrappedFrame = manager->manage(wrapped, {500, 100, 300, 200}, true);
    manager->forgetLists();
    watch();
    EXPECT_THAT(titles(), ElementsAre("wrapped", "framed"));
    EXPECT_EQ(titled("wrapped").id, wrappedFrame);
}

TEST_F(ManagedWindowsTest, OnlyTheDesktopThatIsShownIsOnTheScreen) {
    startManager();
    for (const char* const name : {"here", "elsewhere", "everywhere", "minimised", "wallpaper"}) {
        const xcb_window_t window = client(name);
        app->setNumbers(window, "_NET_WM_DESKTOP", "CARDINAL",
                        {std::string(name) == "elsewhere" ? 1U : 0U});
        if (std::string(name) == "everywhere")
            app->setNumbers(window, "_NET_WM_DESKTOP", "CARDINAL", {0xFFFFFFFF});
        if (std::string(name) == "minimised")
            app->setAtoms(window, "_NET_WM_STATE", {"_NET_WM_STATE_HIDDEN"});
        if (std::string(name) == "wallpaper")
            app->setAtoms(window, "_NET_WM_WINDOW_TYPE", {"_NET_WM_WINDOW_TYPE_DESKTOP"});
        manager->manageBare(window);
    }
    manager->setCurrentDesktop(0);
    EXPECT_THAT(titles(), ElementsAre("wallpaper", "everywhere", "here"));
    manager->setCurrentDesktop(1);
    EXPECT_THAT(titles(), ElementsAre("everywhere", "elsewhere"));

    x11::X11WindowList list(*desktop, identities);
    manager->setCurrentDesktop(0);
    const auto windows = list.onScreenWindows();
    ASSERT_TRUE(windows);
    ASSERT_EQ(windows->size(), 2U);
    EXPECT_EQ(windows->front().ownerName, "everywhere");
}

TEST_F(ManagedWindowsTest, TheWordsOfAManagerThatIsGoneDoNotCount) {
    startManager();
    const xcb_window_t window = client("window");
    app->setNumbers(window, "_NET_WM_DESKTOP", "CARDINAL", {0});
    manager->manageBare(window);
    manager->setCurrentDesktop(1);
    manager->setActive(window);
    EXPECT_THAT(titles(), IsEmpty());
    EXPECT_EQ(now()->focusedWindow, window);
    manager.reset();
    // The server ends a client when it notices, and tells by events only.
    while (now()->focusedWindow == window) {
    }
    EXPECT_THAT(titles(), ElementsAre("window"));
}

TEST_F(WindowsTest, ContentOffersWhatCanBeCapturedAndAnswersMayAskAgain) {
    const xcb_window_t window = app->createNamed("window", {10, 20, 300, 200});
    app->createNamed("unmapped", {10, 20, 300, 200}, {.mapped = false});
    app->finish();
    x11::X11ShareableContent source(*desktop, identities);
    x11::X11WindowList list(*desktop, identities);
    std::promise<std::shared_ptr<const ShareableContent>> answered;
    source.fetch({}, [&](std::shared_ptr<const ShareableContent> content) {
        EXPECT_TRUE(list.onScreenWindows());
        answered.set_value(std::move(content));
    });
    const auto content = answered.get_future().get();
    ASSERT_TRUE(content);
    ASSERT_EQ(content->windows.size(), 1U);
    const ShareableWindow& offered = content->windows.front();
    EXPECT_EQ(offered.windowID, window);
    EXPECT_EQ(offered.generation, titled("window").generation);
    EXPECT_EQ(offered.frame, (Rect{10, 20, 300, 200}));
    EXPECT_EQ(offered.title, "window");
    EXPECT_EQ(offered.owningApplication, (ShareableApplication{::getpid(), "window"}));
    ASSERT_EQ(content->displays.size(), 1U);
    EXPECT_EQ(content->displays.front().frame, (Rect{0, 0, 1920, 1080}));
}

TEST_F(WindowsTest, AServerThatDoesNotAnswerIsWaitedForOnlySoLong) {
    watch({.patience = std::chrono::milliseconds(50)});
    app->createNamed("window", {0, 0, 100, 100});
    xcb_grab_server(app->connection().get());
    app->finish();
    EXPECT_EQ(desktop->current(), nullptr);
    xcb_ungrab_server(app->connection().get());
    app->finish();
    while (!desktop->current()) {
    }
    EXPECT_THAT(titles(), ElementsAre("window"));
}

TEST_F(WindowsTest, AServerThatIsGoneIsSaidToAll) {
    std::promise<void> lost;
    watch({.serverLost = [&] { lost.set_value(); }});
    app->createNamed("window", {0, 0, 100, 100});
    EXPECT_THAT(titles(), ElementsAre("window"));
    ::kill(server->serverPid(), SIGKILL);
    lost.get_future().get();
    EXPECT_EQ(desktop->current(), nullptr);
    bool answered = false;
    desktop->fetch([&](const x11::X11Desktop::Snapshot& snapshot) {
        EXPECT_EQ(snapshot, nullptr);
        answered = true;
    });
    EXPECT_TRUE(answered);
    EXPECT_EQ(x11::X11Displays(*desktop).screens().size(), 1U);
}

} // namespace
} // namespace lentora::test
