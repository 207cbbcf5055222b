#include "input/BackendHarness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lentora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BackendTest : public testing::Test, protected BackendHarness {
protected:
    void SetUp() override { start(); }
};

TEST_F(BackendTest, PinchWithTheGateHeldOpensALensAndLettingGoClosesIt) {
    flags(optionHeld);
    EXPECT_TRUE(magnify(0.01));
    EXPECT_TRUE(magnify(0.01));
    EXPECT_THAT(taken(), ElementsAre("gate on"));
    EXPECT_TRUE(magnify(0.02));
    EXPECT_THAT(taken(), ElementsAre("engage 0.040", "pinch 0.040"));
    EXPECT_TRUE(magnify(-0.1));
    flags(0);
    EXPECT_THAT(taken(), ElementsAre("pinch -0.060", "gate off", "release gateUp"));
    EXPECT_THAT(takenLog(),
                ElementsAre("gate: [tap] effective gate ACTIVE (physical=true locked=false)",
                            "engage: [tap] >>> ENGAGE (real pinch while Option, cum=0.040) <<<",
                            "gate: [tap] effective gate inactive (physical=false locked=false)",
                            "release: [tap] >>> RELEASE (gate inactive) <<<"));
}

TEST_F(BackendTest, EngagesOnTheAbsoluteSumAndOnlyBeyondTheThreshold) {
    flags(optionHeld);
    magnify(0.03);
    EXPECT_THAT(taken(), ElementsAre("gate on"));
    magnify(-0.03);
    magnify(-0.02);
    magnify(-0.02);
    EXPECT_THAT(taken(), ElementsAre("engage -0.040", "pinch -0.040"));
}

TEST_F(BackendTest, MagnificationWithoutTheGatePassesButIsRemembered) {
    EXPECT_FALSE(magnify(0.5));
    flags(optionHeld);
    EXPECT_TRUE(magnify(0.001));
    EXPECT_THAT(taken(), ElementsAre("gate on", "engage 0.501", "pinch 0.501"));
    at(1);
    flags(0);
    // A release starts the sum anew.
    flags(optionHeld);
    magnify(0.02);
    EXPECT_THAT(taken(), ElementsAre("gate off", "release gateUp", "gate on"));
}

// When the second press counts as a double press.
struct PressTiming {
    const char* name;
    double firstPress;
    double pause;
    bool isDouble;
};

class DoublePress : public BackendTest, public testing::WithParamInterface<PressTiming> {};

TEST_P(DoublePress, ArmsWhenQuickEnough) {
    flags(optionHeld);
    at(GetParam().firstPress);
    flags(0);
    at(GetParam().firstPress + GetParam().pause);
    taken();
    flags(optionHeld);
    const bool armed = taken() == std::vector<std::string>{"gate on", "arming on"};
    EXPECT_EQ(armed, GetParam().isDouble);
    flags(0);
    EXPECT_EQ(taken().size(), armed ? 2U : 1U);
}

// Where a case lies on the edge, its times and their differences are exact.
INSTANTIATE_TEST_SUITE_P(Timings, DoublePress,
                         testing::Values(PressTiming{"Quick", 0.1, 0.44, true},
                                         PressTiming{"PauseAtTheEdge", 0, 0.45, false},
                                         PressTiming{"PauseTooLong", 0.1, 0.46, false},
                                         PressTiming{"FirstPressAtTheEdge", 0.25, 0.125, false},
                                         PressTiming{"FirstPressJustShort", 0.2499, 0.125, true},
                                         PressTiming{"FirstPressTooLong", 0.3, 0.1, false}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(BackendTest, ThreeQuickPressesArmOnceAndTheNextTwoAgain) {
    click();
    click();
    // The second press ended a click of its own, so the third is a double press with it.
    EXPECT_THAT(taken(), ElementsAre("gate on", "gate off", "gate on", "arming on", "gate off",
                                     "arming off"));
    click();
    EXPECT_THAT(taken(), ElementsAre("gate on", "arming on", "gate off", "arming off"));
}

TEST_F(BackendTest, DoublePressHoldAndPinchLocksOnRelease) {
    click();
    flags(optionHeld);
    magnify(0.1);
    flags(0);
    EXPECT_THAT(taken(), ElementsAre("gate on", "gate off", "gate on", "arming on", "engage 0.100",
                                     "pinch 0.100", "lock on", "arming off"));
    EXPECT_THAT(takenLog(), testing::IsSupersetOf(
                                {"gate: [tap] option double-click+hold -> will STAY on release",
                                 "gate: [tap] option released after pinch -> LOCKED (stay)"}));
    EXPECT_TRUE(backend->isLocked());
    EXPECT_TRUE(backend->gateActive());
    // The lens is driven without the gate, and the application below sees no pinch.
    EXPECT_TRUE(magnify(0.1));
    EXPECT_THAT(taken(), ElementsAre("pinch 0.200"));
}

TEST_F(BackendTest, OneShortPressOnALockedLensDoesNothing) {
    lock();
    click();
    EXPECT_THAT(taken(), IsEmpty());
    at(desktop.timeline.now() + 1);
    click();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_TRUE(backend->isLocked());
}

TEST_F(BackendTest, DoublePressOnALockedLensClosesIt) {
    lock();
    click();
    click();
    EXPECT_THAT(taken(), ElementsAre("release gateUp", "gate off", "lock off"));
    EXPECT_THAT(takenLog(),
                ElementsAre("gate: [tap] option double-click while LOCKED -> close on release, or "
                            "re-target if you pinch",
                            "gate: [tap] option double-click while LOCKED, no pinch -> close",
                            "gate: [tap] effective gate inactive (physical=false locked=false)"));
    // Nothing is left of the presses: the next one is no double press.
    click();
    EXPECT_THAT(taken(), ElementsAre("gate on", "gate off"));
}

TEST_F(BackendTest, DoublePressAndPinchOnALockedLensRetargetsAndStaysLocked) {
    lock();
    click();
    flags(optionHeld);
    magnify(0.02);
    EXPECT_THAT(taken(), ElementsAre("pinch 0.120"));
    magnify(0.02);
    EXPECT_THAT(taken(), ElementsAre("retarget 0.140"));
    magnify(0.02);
    flags(0);
    // The arming after a re-target is never signalled, neither on nor off.
    EXPECT_THAT(taken(), ElementsAre("pinch 0.160"));
    EXPECT_TRUE(backend->isLocked());
    EXPECT_THAT(takenLog(), testing::Contains(
                                "engage: [tap] >>> RE-TARGET (fresh pinch on a locked zoom) <<<"));
}

TEST_F(BackendTest, CommandDetachesALockedLensOnlyAfterAFreshPress) {
    click();
    flags(optionHeld);
    magnify(0.1);
    flags(optionHeld | commandHeld);
    flags(commandHeld);
    EXPECT_TRUE(backend->isLocked());
    taken();
    flags(0);
    EXPECT_THAT(taken(), IsEmpty());
    flags(commandHeld);
    flags(0);
    EXPECT_THAT(taken(), ElementsAre("detach on", "detach off"));
    flags(commandHeld);
    taken();
    keyDown(keyCode::escape, commandHeld);
    EXPECT_THAT(taken(), ElementsAre("release escKey", "gate off", "detach off", "lock off"));
}

TEST_F(BackendTest, EscapeIsSwallowedOnlyWhileALensIsOpen) {
    EXPECT_FALSE(keyDown(keyCode::escape));
    flags(optionHeld);
    EXPECT_FALSE(keyDown(keyCode::escape));
    magnify(0.1);
    taken();
    EXPECT_TRUE(keyDown(keyCode::escape));
    EXPECT_THAT(taken(), ElementsAre("release escKey"));
    EXPECT_FALSE(keyUp(keyCode::escape));
    EXPECT_FALSE(keyDown(keyCode::escape));
    EXPECT_TRUE(backend->gateActive()); // The gate is still held, and opens the next lens.
    magnify(0.04);
    EXPECT_THAT(taken(), ElementsAre("engage 0.040", "pinch 0.040"));
}

TEST_F(BackendTest, CommandTabPassesAndClosesTheLens) {
    lock();
    EXPECT_FALSE(keyDown(keyCode::tab));
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_FALSE(keyDown(keyCode::tab, commandHeld));
    EXPECT_THAT(taken(), ElementsAre("release appSwitch", "gate off", "lock off"));
    EXPECT_THAT(takenLog(), testing::Contains("key: [tap] Cmd+Tab -> chiudo la lente (lo switcher "
                                              "e la lente non convivono)"));
}

TEST_F(BackendTest, EscapeWhileArmedTakesTheArmingBack) {
    click();
    flags(optionHeld);
    magnify(0.1);
    taken();
    keyDown(keyCode::escape);
    EXPECT_THAT(taken(), ElementsAre("release escKey", "arming off"));
    flags(0);
    EXPECT_THAT(taken(), ElementsAre("gate off"));
}

TEST_F(BackendTest, TheShortcutIsSwallowedReportedOnceAndReleasedWithoutItsModifiers) {
    const EventFlags modifiers = eventFlag::control | eventFlag::shift;
    EXPECT_FALSE(keyDown(6, modifiers));
    backend->setHotKey(HotKey{});
    EXPECT_FALSE(keyDown(6, modifiers | eventFlag::command));
    EXPECT_FALSE(keyDown(6, eventFlag::control));
    EXPECT_FALSE(keyUp(6));
    EXPECT_TRUE(keyDown(6, modifiers | eventFlag::leftShift | eventFlag::fn));
    EXPECT_TRUE(keyDown(6, modifiers, true));
    EXPECT_FALSE(keyUp(7));
    EXPECT_TRUE(keyUp(6));
    EXPECT_FALSE(keyUp(6));
    EXPECT_THAT(taken(), ElementsAre("hotKey down", "hotKey up"));
    // The shortcut works while pinches are switched off.
    backend->setPinchEnabled(false);
    EXPECT_TRUE(keyDown(6, modifiers));
    EXPECT_THAT(taken(), ElementsAre("hotKey down"));
}

TEST_F(BackendTest, ClicksLoseTheWholeFamilyOfTheGateWhileEngaged) {
    backend->setGate(GateModifier::optionRight);
    const EventFlags right = eventFlag::option | eventFlag::rightOption;
    const EventFlags both = right | eventFlag::leftOption;
    const auto clickFlags = [&](EventType type) {
        InputEvent event{.type = type, .flags = both | eventFlag::shift};
        EXPECT_FALSE(deliver(event));
        return event.flags;
    };
    flags(right);
    EXPECT_EQ(clickFlags(EventType::leftMouseDown), both | eventFlag::shift);
    magnify(0.1);
    EXPECT_EQ(clickFlags(EventType::leftMouseDown), eventFlag::shift);
    EXPECT_EQ(clickFlags(EventType::leftMouseDragged), eventFlag::shift);
    EXPECT_EQ(clickFlags(EventType::rightMouseUp), eventFlag::shift);
    flags(0);
    EXPECT_EQ(clickFlags(EventType::leftMouseDown), both | eventFlag::shift);
}

TEST_F(BackendTest, LocksWithoutTheGateHeldLeaveClicksAlone) {
    lock();
    InputEvent event{.type = EventType::leftMouseDown, .flags = optionHeld};
    deliver(event);
    EXPECT_EQ(event.flags, optionHeld);
}

TEST_F(BackendTest, SwitchedOffPinchesIgnoreFlagsClicksAndGestures) {
    backend->setPinchEnabled(false);
    flags(optionHeld);
    EXPECT_FALSE(magnify(0.5));
    EXPECT_THAT(taken(), IsEmpty());
    backend->setPinchEnabled(true);
    flags(optionHeld);
    EXPECT_TRUE(magnify(0.01));
    EXPECT_THAT(taken(), ElementsAre("gate on"));
}

TEST_F(BackendTest, EventsThatMakeNoSensePass) {
    flags(optionHeld);
    EXPECT_FALSE(deliver({.type = EventType::magnify, .magnification = 1, .isConvertible = false}));
    EXPECT_FALSE(deliver({.type = EventType::gesture}));
    EXPECT_FALSE(deliver({.type = EventType::smartMagnify}));
    EXPECT_THAT(taken(), ElementsAre("gate on"));
}

TEST_F(BackendTest, RepeatedTimeoutsBackOffAndAQuietGapStartsAnew) {
    const auto timeOut = [&](double time) {
        at(time);
        deliver({.type = EventType::tapDisabledByTimeout});
    };
    timeOut(10);
    EXPECT_TRUE(desktop.eventTap.isEnabled());
    timeOut(11);
    EXPECT_FALSE(desktop.eventTap.isEnabled());
    at(11.49);
    EXPECT_FALSE(desktop.eventTap.isEnabled());
    at(11.5);
    EXPECT_TRUE(desktop.eventTap.isEnabled());
    timeOut(12);
    timeOut(13);
    at(13.99);
    EXPECT_FALSE(desktop.eventTap.isEnabled());
    timeOut(14);
    for (int i = 1; i <= 3; ++i)
        timeOut(14 + 2.0 * i);
    timeOut(22.5);
    EXPECT_TRUE(desktop.eventTap.isEnabled());
    EXPECT_THAT(takenLog(),
                ElementsAre("input: tap disabled by timeout (storm=1) -> re-enable in 0ms",
                            "input: tap disabled by timeout (storm=2) -> re-enable in 500ms",
                            "input: tap disabled by timeout (storm=3) -> re-enable in 750ms",
                            "input: tap disabled by timeout (storm=4) -> re-enable in 1000ms",
                            "input: tap disabled by timeout (storm=5) -> re-enable in 1250ms",
                            "input: tap disabled by timeout (storm=6) -> re-enable in 1500ms",
                            "input: tap disabled by timeout (storm=7) -> re-enable in 1500ms",
                            "input: tap disabled by timeout (storm=8) -> re-enable in 1500ms",
                            "input: tap disabled by timeout (storm=1) -> re-enable in 0ms"));
}

TEST_F(BackendTest, AUserDisableIsUndoneAtOnce) {
    deliver({.type = EventType::tapDisabledByUserInput});
    EXPECT_TRUE(desktop.eventTap.isEnabled());
    EXPECT_THAT(takenLog(), ElementsAre("input: tap re-enabled (user-input disable)"));
}

TEST_F(BackendTest, ADelayedReenableDoesNotReviveAStoppedTap) {
    deliver({.type = EventType::tapDisabledByTimeout});
    deliver({.type = EventType::tapDisabledByTimeout});
    backend->stop();
    at(5);
    EXPECT_FALSE(desktop.eventTap.isEnabled());
}

TEST_F(BackendTest, StopForgetsEverythingAndTellsTheDelegateNothing) {
    lock();
    flags(commandHeld);
    taken();
    backend->stop();
    desktop.timeline.settle();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_THAT(takenLog(), testing::Contains("input: CGEventTap stopped"));
    const auto state = backend->snapshot();
    EXPECT_FALSE(state.gateActive || state.engaged || state.locked || state.detached);
    EXPECT_EQ(state.cumulative, 0);
    backend->start();
    backend->start();
    flags(0);
    flags(optionHeld);
    EXPECT_THAT(taken(), ElementsAre("gate on"));
}

TEST_F(BackendTest, ForcedReleaseClosesAndUnlocksButLeavesTheArmingUnsignalled) {
    lock();
    backend->forceRelease();
    EXPECT_THAT(taken(), ElementsAre("release manual"));
    desktop.timeline.settle();
    EXPECT_THAT(taken(), ElementsAre("gate off", "lock off"));
    backend->forceRelease();
    desktop.timeline.settle();
    EXPECT_THAT(taken(), IsEmpty());

    click();
    flags(optionHeld);
    taken();
    backend->forceRelease();
    desktop.timeline.settle();
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(BackendTest, CancelForgetsTheLensWithoutARelease) {
    click();
    flags(optionHeld);
    magnify(0.1);
    taken();
    backend->cancelEngage();
    desktop.timeline.settle();
    EXPECT_THAT(taken(), ElementsAre("arming off"));
    flags(0);
    EXPECT_THAT(taken(), ElementsAre("gate off"));

    lock();
    backend->cancelEngage();
    desktop.timeline.settle();
    EXPECT_THAT(taken(), ElementsAre("gate off", "lock off"));
}

// The session cancels from inside a delegate operation when it refuses to open a lens.
TEST_F(BackendTest, TheDelegateMayCancelFromItsOwnOperation) {
    onOperation = [&](const std::string& operation) {
        if (operation.starts_with("engage"))
            backend->cancelEngage();
    };
    backend->debugForceEngage();
    EXPECT_FALSE(backend->engaged());
    EXPECT_THAT(taken(), ElementsAre("engage 1.000"));
    EXPECT_THAT(takenLog(), ElementsAre("engage: DEBUG force-engage (no trackpad) gate=false"));
}

TEST_F(BackendTest, OperationsWithoutADelegateAreDropped) {
    delegate.reset();
    flags(optionHeld);
    magnify(0.1);
    backend->debugForceRelease();
    delegate = makeDelegate();
    backend->setDelegate(delegate);
    desktop.timeline.settle();
    EXPECT_THAT(taken(), IsEmpty());
}

TEST(BackendStart, NamesItsTapAndSaysWhenItCannotBeInstalled) {
    BackendHarness session;
    session.backend->start();
    session.desktop.timeline.settle();
    EXPECT_THAT(session.takenLog(),
                ElementsAre("input: CGEventTap installed on dedicated thread (session)"));
    EXPECT_EQ(session.backend->label(),
              "Public API — CGEventTap (session: gestures + scroll + flags)");

    BackendHarness hid(TapLocation::hid);
    hid.desktop.state.permissions.accessibility = false;
    hid.backend->start();
    hid.desktop.timeline.settle();
    EXPECT_THAT(hid.takenLog(),
                ElementsAre("input: !! CGEvent.tapCreate FAILED — grant Accessibility AND Input "
                            "Monitoring, then relaunch"));
    hid.flags(optionHeld);
    EXPECT_THAT(hid.taken(), IsEmpty());
    EXPECT_EQ(hid.backend->label(),
              "Public API — CGEventTap (cghidEventTap: gestures + scroll + flags)");
}

} // namespace
} // namespace lentora::test
