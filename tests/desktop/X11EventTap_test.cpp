// Gestures of real devices on a real X server, as the program and another program see them.
#include "desktop/AppWindow.h"
#include "desktop/TapFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/xtest.h>

#include <csignal>

namespace lentora::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

using TapTest = TapFixture;

bool gotKeyPress(const x11::Connection& connection) {
    while (const x11::XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection.get())}) {
        if ((event->response_type & 0x7F) == XCB_KEY_PRESS)
            return true;
    }
    return false;
}

// Both ways in which a program can take its input.
class TapAndApp : public TapFixture, public testing::WithParamInterface<AppWindow::Protocol> {
protected:
    std::vector<std::string> takenByApp(const char* kind) {
        std::vector<std::string> events = app->takeEvents();
        std::erase_if(events, [&](const std::string& event) { return !event.starts_with(kind); });
        return events;
    }
    void startAll() {
        app = std::make_unique<AppWindow>(desktop->displayName(), GetParam());
        startTap();
        app->takeEvents();
    }

    std::unique_ptr<AppWindow> app;
};

INSTANTIATE_TEST_SUITE_P(Protocols, TapAndApp,
                         testing::Values(AppWindow::Protocol::core, AppWindow::Protocol::xinput2),
                         [](const auto& test) {
                             return test.param == AppWindow::Protocol::core ? "Core" : "XInput2";
                         });

TEST_P(TapAndApp, APinchWithTheGateIsOursAndOneWithoutIsTheApplications) {
    startAll();
    hands->press(Key::AltL);
    hands->pinch({1.0, 1.1, 1.3});
    hands->release(Key::AltL);
    ASSERT_TRUE(await("release gateUp"));
    EXPECT_THAT(taken(), ElementsAre("gate on", "engage 0.100", "pinch 0.100", "pinch 0.300",
                                     "pinch 0.300", "gate off", "release gateUp"));
    EXPECT_THAT(takenByApp("pinch"), IsEmpty());

    hands->pinch({1.0, 1.1, 1.3});
    settle();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_THAT(takenByApp("pinch"),
                ElementsAre("pinch begin", "pinch update", "pinch update", "pinch end"));
}

// Alt alone, down and up, opens an application's menu.
TEST_P(TapAndApp, TheGateIsNotAloneForTheApplication) {
    startAll();
    hands->press(Key::AltL);
    hands->pinch({1.0, 1.1});
    settle();
    hands->pinch({1.0, 1.1});
    hands->release(Key::AltL);
    ASSERT_TRUE(await("release gateUp"));
    settle();
    const auto keys = takenByApp("key");
    ASSERT_EQ(keys.size(), 4U);
    EXPECT_EQ(keys[0], "key 64 down");
    EXPECT_THAT(keys[1], EndsWith(" down state 8"));
    EXPECT_THAT(keys[1], Not(HasSubstr("key 64")));
    EXPECT_THAT(keys[2], EndsWith(" up state 8"));
    EXPECT_EQ(keys[3], "key 64 up state 8");
    EXPECT_THAT(taken(), Not(Contains("hotKey down")));
}

TEST_P(TapAndApp, AClickWhileEngagedIsPlainAndTheGateGoesOn) {
    startAll();
    hands->press(Key::AltL);
    hands->pinch({1.0, 1.2});
    ASSERT_TRUE(await("engage 0.200"));
    settle();
    app->takeEvents();

    for (const int button : {1, 3}) {
        const std::string name = "button " + std::to_string(button);
        hands->movePointer(300, 300);
        hands->buttonDown(button);
        settle();
        hands->movePointer(310, 310);
        hands->buttonUp(button);
        settle();
        const auto events = app->takeEvents();
        EXPECT_THAT(events, IsSupersetOf({name + " down", name + " up", std::string("motion")}));
        EXPECT_EQ(std::ranges::count(events, name + " down"), 1);
        EXPECT_EQ(std::ranges::count(events, name + " up"), 1);
        EXPECT_THAT(events, Not(Contains(HasSubstr(name + " down state"))));
        EXPECT_THAT(events, Not(Contains(HasSubstr(name + " up state"))));
    }
    // The gate was never let go of, as far as the program knows, and really is down again.
    EXPECT_TRUE(backend->gateActive());
    EXPECT_THAT(taken(), Not(Contains("gate off")));
    hands->pinch({1.0, 1.1});
    ASSERT_TRUE(await("pinch 0.300"));
    hands->release(Key::AltL);
    ASSERT_TRUE(await("release gateUp"));
    settle();
    app->takeEvents();
    hands->click(1);
    EXPECT_THAT(takenByApp("button"), ElementsAre("button 1 down", "button 1 up"));
}

// The fingers may be quicker than the program: the button, or the gate, or both are up again when
// the click is passed on.
TEST_P(TapAndApp, QuickClicksEndWithEverythingLetGo) {
    startAll();
    hands->press(Key::AltL);
    hands->pinch({1.0, 1.2});
    ASSERT_TRUE(await("engage 0.200"));
    settle();
    constexpr int rounds = 50;
    for (int round = 0; round < rounds; ++round) {
        app->takeEvents();
        hands->click(1);
        settle();
        settle();
        EXPECT_THAT(takenByApp("button"), ElementsAre("button 1 down", "button 1 up"));
    }
    hands->buttonDown(1);
    hands->release(Key::AltL);
    hands->buttonUp(1);
    ASSERT_TRUE(await("release gateUp"));
    settle();
    settle();
    app->takeEvents();
    const x11::XcbPtr<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(
        app->connection().get(),
        xcb_query_pointer(app->connection().get(), app->connection().root()), nullptr));
    EXPECT_EQ(pointer->mask, 0);
}

TEST_P(TapAndApp, EscapeClosesALockedLensIsSwallowedAndComesBack) {
    startAll();
    hands->tap(Key::Escape);
    EXPECT_THAT(app->takeEvents(), ElementsAre("key 9 down", "key 9 up"));

    lockLens();
    EXPECT_TRUE(backend->isLocked());
    app->takeEvents();
    hands->press(Key::Escape);
    ASSERT_TRUE(await("lock off"));
    EXPECT_THAT(taken(), ElementsAre("release escKey", "gate off", "lock off"));
    settle();
    // The keyboard is free while Escape is still down.
    hands->tap(Key::A);
    hands->release(Key::Escape);
    const auto events = app->takeEvents();
    EXPECT_THAT(events, Not(Contains("key 9 down")));
    EXPECT_THAT(events, IsSupersetOf({"key 38 down", "key 38 up"}));

    hands->tap(Key::Escape);
    EXPECT_THAT(app->takeEvents(), ElementsAre("key 9 down", "key 9 up"));
}

TEST_P(TapAndApp, TypingIsNeverHeldBack) {
    startAll();
    lockLens();
    app->takeEvents();
    hands->tap(Key::A);
    EXPECT_THAT(app->takeEvents(), ElementsAre("key 38 down", "key 38 up"));
    hands->press(Key::ShiftL);
    hands->tap(Key::Tab);
    hands->release(Key::ShiftL);
    EXPECT_THAT(takenByApp("key 23"), ElementsAre("key 23 down state 1", "key 23 up state 1"));
    EXPECT_TRUE(backend->isLocked());
}

TEST_P(TapAndApp, TheShortcutIsSwallowedWithItsRepeatsAndItsRelease) {
    app = std::make_unique<AppWindow>(desktop->displayName(), GetParam());
    startTap(x11::WheelZoom::automatic, GateModifier::option, HotKey{});
    for (const Key lock : {Key::CapsLock, Key::NumLock})
        hands->tap(lock);
    hands->press(Key::ControlR);
    hands->press(Key::ShiftL);
    app->takeEvents();
    hands->press(Key::Z);
    ASSERT_TRUE(await("hotKey down"));
    hands->release(Key::Z);
    ASSERT_TRUE(await("hotKey up"));
    hands->release(Key::ShiftL);
    EXPECT_THAT(takenByApp("key 52"), IsEmpty());
    hands->tap(Key::Z);
    EXPECT_EQ(takenByApp("key 52").size(), 2U);
    settle();
    EXPECT_THAT(taken(), ElementsAre("hotKey down", "hotKey up"));
}

TEST_F(TapTest, TheGateWorksWithTheLocksOn) {
    startTap();
    hands->tap(Key::CapsLock);
    hands->tap(Key::NumLock);
    hands->press(Key::AltR);
    hands->pinch({1.0, 1.5});
    hands->release(Key::AltR);
    EXPECT_TRUE(await("release gateUp"));
    EXPECT_THAT(taken(), Contains("engage 0.500"));
}

TEST_F(TapTest, AGateWithASideTakesNothingWithTheOther) {
    AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    startTap(x11::WheelZoom::automatic, GateModifier::optionRight);
    hands->press(Key::AltL);
    settle();
    app.takeEvents();
    hands->pinch({1.0, 1.5});
    EXPECT_THAT(app.takeEvents(), Contains("pinch begin"));
    hands->release(Key::AltL);

    hands->press(Key::AltR);
    settle();
    app.takeEvents();
    hands->pinch({1.0, 1.5});
    hands->release(Key::AltR);
    ASSERT_TRUE(await("release gateUp"));
    EXPECT_THAT(app.takeEvents(), Not(Contains("pinch begin")));
    hands->pinch({1.0, 1.5});
    EXPECT_THAT(app.takeEvents(), Contains("pinch begin"));
}

TEST_F(TapTest, ALockedLensTakesPinchesWithoutTheGate) {
    AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    startTap();
    lockLens();
    app.takeEvents();
    hands->pinch({1.0, 0.95});
    ASSERT_TRUE(await("pinch 0.050"));
    EXPECT_THAT(app.takeEvents(), Not(Contains("pinch begin")));
    backend->cancelEngage();
    settle();
    hands->pinch({1.0, 0.9});
    EXPECT_THAT(app.takeEvents(), Contains("pinch begin"));
    // With the gate, pinches are ours again.
    hands->press(Key::AltL);
    hands->pinch({1.0, 1.2});
    EXPECT_TRUE(await("engage 0.200"));
}

// A device that is taken from the server's keyboard takes the release of its keys along: nobody
// is told of it.
TEST_F(TapTest, AModifierWhoseReleaseWasMissedIsNoticed) {
    AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    startTap();
    hands->press(Key::AltL);
    ASSERT_TRUE(await("gate on"));
    EXPECT_TRUE(app.forgetHeldKeys());
    EXPECT_TRUE(await("gate off"));
}

TEST_F(TapTest, AKeyThatStopsBeingAModifierWhileHeldIsLetGoOf) {
    AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    startTap();
    hands->press(Key::AltL);
    ASSERT_TRUE(await("gate on"));
    const xcb_keysym_t letter = 'q';
    xcb_change_keyboard_mapping(app.connection().get(), 1, 64, 1, &letter);
    app.takeEvents();
    EXPECT_TRUE(await("gate off"));
}

TEST_F(TapTest, WithoutATouchpadTheWheelIsAPinch) {
    desktop.reset();
    startDesktop({.withTouchpad = false});
    AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    startTap();
    EXPECT_THAT(logged(), Contains("[input] no touchpad reports pinches -> hold the gate and turn "
                                   "the wheel"));
    hands->wheel(1);
    settle();
    EXPECT_THAT(app.takeEvents(), Contains("button 4 down"));
    hands->press(Key::AltL);
    hands->wheel(2);
    hands->wheel(-1);
    hands->release(Key::AltL);
    ASSERT_TRUE(await("release gateUp"));
    EXPECT_THAT(taken(), ElementsAre("gate on", "engage 0.080", "pinch 0.080", "pinch 0.160",
                                     "pinch 0.080", "gate off", "release gateUp"));
    EXPECT_THAT(app.takeEvents(), Not(Contains(HasSubstr("button"))));
}

TEST_F(TapTest, WithATouchpadTheWheelScrollsUnlessItIsAskedFor) {
    AppWindow app(desktop->displayName(), AppWindow::Protocol::core);
    startTap();
    hands->press(Key::AltL);
    hands->wheel(1);
    settle();
    EXPECT_THAT(app.takeEvents(), Contains("button 4 down state 8"));
    EXPECT_THAT(logged(), Not(Contains(HasSubstr("touchpad"))));
    hands->release(Key::AltL);
    backend->stop();

    startTap(x11::WheelZoom::on);
    hands->press(Key::AltL);
    hands->wheel(1);
    EXPECT_TRUE(await("engage 0.080"));
}

TEST_F(TapTest, AShortcutOfAnotherProgramIsLeftToItAndSaid) {
    std::string error;
    const auto other = x11::Connection::open(desktop->displayName(), error);
    xcb_grab_key(other->get(), 0, other->root(), XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT, 52,
                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    const x11::XcbPtr<xcb_get_input_focus_reply_t> granted(
        xcb_get_input_focus_reply(other->get(), xcb_get_input_focus(other->get()), nullptr));
    startTap(x11::WheelZoom::automatic, GateModifier::option, HotKey{});
    settle();
    EXPECT_THAT(logged(), Contains("[input] !! another program has the shortcut ⌃⇧Z -> choose "
                                   "another one, or quit that program"));
    hands->press(Key::ControlL);
    hands->press(Key::ShiftL);
    hands->tap(Key::Z);
    settle();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_TRUE(gotKeyPress(*other));
}

TEST_F(TapTest, AServerThatGoesAwayEndsTheTap) {
    startTap();
    ::kill(desktop->serverPid(), SIGKILL);
    EXPECT_TRUE(mainQueue.runUntil([&] { return serverLost; }));
    backend->stop();
}

TEST_F(TapTest, ADisplayThatIsNotThereIsAnOrdinaryFailure) {
    const auto name = desktop->displayName();
    desktop.reset();
    hands = nullptr;
    log = std::make_unique<Log>(Log::Services{files, logQueue, unifiedLog, wallClock, mainQueue},
                                "/logs");
    x11::X11EventTap lost({.display = name}, *log);
    auto alone = CGEventTapInputBackend::create({lost, mainQueue, executor, clock, *log},
                                                TapLocation::session);
    alone->start();
    EXPECT_TRUE(mainQueue.runUntil([&] { return log->snapshot().size() >= 2; }));
    EXPECT_THAT(logged(),
                ElementsAre("[input] !! no X server answers at " + name,
                            "[input] !! CGEvent.tapCreate FAILED — grant Accessibility AND Input "
                            "Monitoring, then relaunch"));
    alone->stop();
}

} // namespace
} // namespace lentora::test
