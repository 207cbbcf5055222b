// What the scenarios of the zoom session cannot show: who else is told, and states that the real
// backend does not lead to. The rest is in tests/scenarios/session_*.json.
#include "zoom/SessionHarness.h"

namespace lentora::test {
namespace {

using testing::Contains;
using testing::IsEmpty;

TEST_F(SessionTest, TellsOnceThatASessionHasEnded) {
    open();
    EXPECT_EQ(endedCount, 0);
    zoom->closeSession();
    EXPECT_EQ(endedCount, 1);
    wait(1);
    EXPECT_EQ(endedCount, 1) << "the end of the animation is not another";

    zoom->inputArmingChanged(true);
    zoom->inputArmingChanged(false);
    EXPECT_EQ(endedCount, 2);
    wait(1);

    desktop.state.pointer = overNothing;
    zoom->inputDidEngage(1);
    wait(1);
    EXPECT_EQ(endedCount, 3) << "an attempt that fails";
}

// Who is told may open the next one.
TEST_F(SessionTest, HasEndedWhenItTellsSo) {
    std::vector<SessionState> states;
    zoom->onSessionEnded = [&] { states.push_back(zoom->state()); };
    open();
    zoom->closeSession();
    zoom->inputArmingChanged(true);
    zoom->inputArmingChanged(false);
    desktop.state.pointer = overNothing;
    zoom->inputDidEngage(1);
    wait(0.1);
    EXPECT_THAT(states,
                testing::ElementsAre(SessionState::idle, SessionState::idle, SessionState::idle));

    desktop.state.pointer = overWindow;
    wait(1);
    zoom->onSessionEnded = {};
    open();
    zoom->onSessionEnded = [&] {
        zoom->onSessionEnded = {};
        zoom->keyboardOpen();
    };
    zoom->closeSession();
    wait(0.1);
    EXPECT_EQ(zoom->snapshot().sessionWindowID, 7U);
    EXPECT_TRUE(zoom->snapshot().isKeyboardSession);
    wait(1);
    EXPECT_EQ(zoom->state(), SessionState::active) << "the end of the first lens is not its own";
}

TEST_F(SessionTest, TellsTwiceWhenAClosedSessionFailsAfterwards) {
    desktop.state.pointer = overNothing;
    zoom->inputDidEngage(1);
    wait(0.01);
    zoom->inputDidRelease(ReleaseReason::gateUp);
    EXPECT_EQ(endedCount, 1);
    wait(0.02);
    EXPECT_EQ(endedCount, 2);
}

TEST_F(SessionTest, TellsOfEveryNoticeAboutThePermissionAndOfNoAttemptBetween) {
    desktop.state.permissions.screenRecording = false;
    for (const auto& [pause, count] : {std::pair(0.0, 1), {2.0, 1}, {1.1, 2}}) {
        wait(pause);
        zoom->inputDidEngage(1);
        EXPECT_EQ(endedCount, count);
    }
    EXPECT_EQ(backend->cancelCount, 3);
    wait(4);
    zoom->keyboardOpen();
    EXPECT_EQ(endedCount, 3);
    EXPECT_EQ(backend->cancelCount, 3) << "no backend believes in a lens from the keyboard";
    desktop.state.permissions.screenRecording = true;
    zoom->keyboardOpen();
    EXPECT_EQ(zoom->state(), SessionState::active) << "nor is there anything to wait for";
}

TEST_F(SessionTest, ChangesOfTheLockDoWhatTheStateAsksFor) {
    zoom->inputLockChanged(false);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    zoom->inputLockChanged(true);
    EXPECT_EQ(zoom->state(), SessionState::armed);
    takenLog();
    zoom->inputLockChanged(true);
    zoom->inputArmingChanged(true);
    zoom->inputDidRelease(ReleaseReason::gateUp);
    zoom->inputDidRequestRetarget(1);
    zoom->keyboardOpen();
    zoom->keyboardSetLocked(false);
    EXPECT_THAT(takenLog(), IsEmpty());
    EXPECT_FALSE(zoom->snapshot().engageInFlight);
    zoom->inputLockChanged(false);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    wait(1);

    open();
    zoom->inputLockChanged(true);
    EXPECT_TRUE(zoom->snapshot().sessionLocked);
    zoom->inputArmingChanged(true);
    zoom->inputArmingChanged(false);
    zoom->inputLockChanged(false);
    EXPECT_FALSE(zoom->snapshot().sessionLocked);
    EXPECT_EQ(zoom->state(), SessionState::active);
    EXPECT_THAT(takenLog(), Contains("zoom: lock ON (help panel)"));
}

TEST_F(SessionTest, ALensOpensLockedIfItsBackendIs) {
    backend->locked = true;
    open();
    EXPECT_THAT(takenLog(), Contains("zoom: ENGAGE (initial=2.000x, locked=true)"));
}

TEST_F(SessionTest, NoLensIsLargerThanTheShellAllows) {
    zoom->fixedZoom = 8;
    zoom->keyboardOpen();
    EXPECT_EQ(zoom->snapshot().targetZoom, 4);
}

TEST_F(SessionTest, AnAttemptThatFailsLeavesNothingLocked) {
    backend->locked = true;
    desktop.state.pointer = overNothing;
    zoom->inputDidEngage(1);
    EXPECT_TRUE(zoom->snapshot().sessionLocked);
    wait(0.1);
    EXPECT_FALSE(zoom->snapshot().sessionLocked);
}

TEST_F(SessionTest, ASecondPinchLeavesAnOpenLensAlone) {
    open();
    takenLog();
    zoom->inputDidEngage(1);
    EXPECT_THAT(takenLog(), IsEmpty());
    EXPECT_EQ(backend->cancelCount, 0);
    EXPECT_FALSE(zoom->snapshot().engageInFlight);
}

TEST_F(SessionTest, PinchesCountOnlyWhileALensIsOpen) {
    open();
    zoom->inputDidUpdatePinch(1);
    zoom->closeSession();
    const double before = zoom->snapshot().targetZoom;
    zoom->inputDidUpdatePinch(1.2);
    EXPECT_EQ(zoom->snapshot().targetZoom, before);
    wait(1);
    // Where the pinch ended before is not where this one begins.
    zoom->keyboardOpen();
    zoom->inputDidUpdatePinch(1.3);
    EXPECT_EQ(zoom->snapshot().targetZoom, 2);
    zoom->inputDidUpdatePinch(1.4);
    EXPECT_GT(zoom->snapshot().targetZoom, 2);
}

TEST_F(SessionTest, TheBeatEndsWithTheArmedStateAndWaitsForTheLens) {
    zoom->inputArmingChanged(true);
    EXPECT_TRUE(desktop.displayLinks.isRunning());
    zoom->inputArmingChanged(false);
    EXPECT_FALSE(desktop.displayLinks.isRunning());
    zoom->inputArmingChanged(true);
    zoom->inputDidEngage(1);
    EXPECT_FALSE(desktop.displayLinks.isRunning());
    wait(0.1);
    EXPECT_TRUE(desktop.displayLinks.isRunning());
}

TEST_F(SessionTest, APinchNeedNotWaitAfterALensThatFoundNoOtherWindow) {
    open();
    desktop.state.pointer = overNothing;
    zoom->inputDidRequestRetarget(1);
    wait(0.1);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    EXPECT_EQ(backend->cancelCount, 1);
    desktop.state.pointer = overWindow;
    zoom->inputDidEngage(1);
    EXPECT_EQ(zoom->state(), SessionState::active);
}

TEST_F(SessionTest, ADetachEndsWithItsLens) {
    open();
    zoom->inputDetach(true);
    zoom->closeSession();
    EXPECT_FALSE(zoom->snapshot().detachActive);
}

TEST_F(SessionTest, ALensThatMovesToAnotherWindowBeginsAfresh) {
    zoom->fixedZoom = 0.75;
    zoom->keyboardOpen();
    wait(1);
    zoom->keyboardSetLocked(true);
    zoom->inputDidUpdatePinch(0);
    zoom->inputDidUpdatePinch(0.19);
    EXPECT_LT(zoom->snapshot().displayedZoom, 1);
    EXPECT_GT(zoom->snapshot().belowFloorAccum, 0);
    zoom->inputDetach(true);
    desktop.state.windows[0].id = 8;
    zoom->inputDidRequestRetarget(1);
    wait(0.04);
    EXPECT_EQ(zoom->snapshot().sessionWindowID, 8U);
    EXPECT_EQ(zoom->snapshot().targetZoom, 1);
    EXPECT_EQ(zoom->snapshot().belowFloorAccum, 0);
    EXPECT_FALSE(zoom->snapshot().detachActive);
}

TEST_F(SessionTest, EverythingIsDrawnForTheDisplayThatItIsSeenOn) {
    desktop.state.displays.push_back({.frame = {1920, 0, 1280, 1024}, .scale = 1});
    desktop.state.windows[0].bounds = {1500, 50, 600, 600};
    desktop.state.pointer = {2000, 700};
    const MagnifierView& view = zoom->overlay().magnifier();
    open();
    EXPECT_EQ(view.clipLayer()->style().contentsScale, 2) << "most of the window is on the other";
    EXPECT_EQ(view.cursorBadge()->style().contentsScale, 1);
    EXPECT_EQ(view.layer()->frame(), (Rect{0, 0, 1280, 1024}));
    zoom->closeSession();
    wait(1);

    desktop.state.pointer = overWindow;
    zoom->inputArmingChanged(true);
    EXPECT_EQ(view.cursorBadge()->style().contentsScale, 2);
    desktop.state.pointer = {2000, 700};
    wait(0.1);
    EXPECT_EQ(view.cursorBadge()->style().contentsScale, 1);
    EXPECT_EQ(desktop.displayLinks.display(), (Rect{1920, 0, 1280, 1024}));
}

TEST_F(SessionTest, TheArmedStateFollowsADisplayThatComesUnderThePointer) {
    desktop.state.pointer = {2000, 700};
    zoom->inputArmingChanged(true);
    wait(1);
    EXPECT_EQ(zoom->overlay().screenFrame(), (Rect{0, 0, 1920, 1080}));
    desktop.state.displays.push_back({.frame = {1920, 0, 1280, 1024}, .scale = 1});
    wait(0.02);
    EXPECT_EQ(zoom->overlay().screenFrame(), (Rect{1920, 0, 1280, 1024}));
}

// With the notice, the panel comes to the display that the pointer is on by then.
TEST_F(SessionTest, TheBadgeOfALensAtRestStaysBesideThePointerWhenItsPanelMoves) {
    desktop.state.displays.push_back({.frame = {1920, 0, 1280, 1024}, .scale = 1});
    const auto badge = [&] {
        return zoom->overlay().magnifier().cursorBadge()->positionAt(desktop.timeline.now());
    };
    open();
    desktop.state.pointer = {2000, 700};
    wait(1);
    EXPECT_EQ(badge(), (Point{2032, 684}));
    desktop.state.permissions.screenRecording = false;
    zoom->inputDidRequestRetarget(1);
    wait(0.02);
    EXPECT_EQ(zoom->overlay().screenFrame(), (Rect{1920, 0, 1280, 1024}));
    EXPECT_EQ(badge(), (Point{112, 684}));
}

TEST_F(SessionTest, DoesWithoutABackend) {
    backend.reset();
    desktop.state.permissions.screenRecording = false;
    zoom->inputDidEngage(1);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    desktop.state.permissions.screenRecording = true;
    wait(1);
    zoom->onSessionEnded = {};
    open();
    EXPECT_FALSE(zoom->snapshot().sessionLocked);
    desktop.state.pointer = overNothing;
    zoom->inputDidRequestRetarget(1);
    wait(1);
    EXPECT_EQ(zoom->state(), SessionState::idle);
}

TEST_F(SessionTest, RefusesASecondPinchWhileTheFirstIsOnItsWay) {
    zoom->inputDidEngage(1);
    zoom->inputDidRelease(ReleaseReason::gateUp);
    zoom->inputDidEngage(1);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    EXPECT_EQ(backend->cancelCount, 1);
    wait(0.03);
    zoom->inputDidEngage(1);
    EXPECT_EQ(zoom->state(), SessionState::active) << "the first has come to its end";
    zoom->inputDidRequestRetarget(1);
    EXPECT_EQ(backend->cancelCount, 2);
    EXPECT_EQ(zoom->state(), SessionState::active);
}

TEST_F(SessionTest, LooksAtTheWindowsBeforeAPinchIfItMay) {
    zoom->inputGateChanged(true);
    wait(0.1);
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 1);
    zoom->inputGateChanged(false);
    wait(1);
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 1);
    desktop.state.permissions.screenRecording = false;
    zoom->inputGateChanged(true);
    wait(1);
    EXPECT_EQ(desktop.shareableContent.fetchCount(), 1);
}

// The armed state keeps the closing lens from ending its stream; somebody has to.
TEST_F(SessionTest, AFailureAfterAnOvertakenCloseEndsTheStreamThatWasLeft) {
    open();
    zoom->closeSession();
    zoom->inputArmingChanged(true);
    desktop.state.pointer = overNothing;
    wait(0.3);
    EXPECT_TRUE(desktop.captureStreams.isRunning());
    zoom->inputDidEngage(1);
    wait(0.1);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    EXPECT_FALSE(desktop.captureStreams.isRunning());
}

// Two attempts can be under way: one from a pinch, closed, and one from the keyboard.
TEST_F(SessionTest, ALateFailureEndsTheLensThatIsOpenBehindIt) {
    closeAnAttemptThatFailsLater();
    wait(0.2);
    zoom->keyboardOpen();
    wait(0.2);
    EXPECT_EQ(zoom->snapshot().sessionWindowID, 7U);
    EXPECT_TRUE(zoom->snapshot().engageInFlight) << "the one from the pinch";
    wait(0.2);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    EXPECT_EQ(zoom->snapshot().sessionWindowID, 0U);
    EXPECT_FALSE(desktop.captureStreams.isRunning());
    EXPECT_FALSE(desktop.displayLinks.isRunning());
    EXPECT_THAT(takenLog(), Contains("zoom: cannot engage: protected"));
}

// As before, but the lens has no frame yet. It must not come up in the armed state.
TEST_F(SessionTest, ALensThatAFailureEndedDoesNotComeUpLater) {
    desktop.captureStreams.deliversFrames = false;
    closeAnAttemptThatFailsLater();
    wait(0.4);
    zoom->keyboardOpen();
    wait(0.1);
    ASSERT_EQ(zoom->state(), SessionState::idle);
    zoom->inputArmingChanged(true);
    wait(0.4);
    EXPECT_EQ(zoom->overlay().magnifier().clipLayer()->opacityAt(desktop.timeline.now()), 0);
}

TEST_F(SessionTest, ItsWorkUnderWayDoesNotOutliveTheProgram) {
    zoom->inputDidEngage(1);
    desktop.timeline.clear();
    const std::weak_ptr<ZoomController> watched = zoom;
    parts = {};
    EXPECT_TRUE(watched.expired());
    parts = makeParts();
}

} // namespace
} // namespace lentora::test
