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
    desktop.state.timing.shareableContent = 0.5;
    desktop.state.windows[0].shareable = false;
    zoom->inputDidEngage(1);
    wait(0.01);
    zoom->inputDidRelease(ReleaseReason::gateUp);
    desktop.state.timing.shareableContent = 0.02;
    desktop.state.windows[0].shareable = true;
    wait(0.2);
    zoom->keyboardOpen();
    wait(0.2);
    EXPECT_EQ(zoom->snapshot().sessionWindowID, 7U);
    wait(0.2);
    EXPECT_EQ(zoom->state(), SessionState::idle);
    EXPECT_EQ(zoom->snapshot().sessionWindowID, 0U);
    EXPECT_FALSE(desktop.captureStreams.isRunning());
    EXPECT_FALSE(desktop.displayLinks.isRunning());
    EXPECT_THAT(takenLog(), Contains("zoom: cannot engage: protected"));
}

TEST_F(SessionTest, ItsWorkUnderWayDoesNotOutliveTheProgram) {
    zoom->inputDidEngage(1);
    desktop.timeline.clear();
    const std::weak_ptr<ZoomController> watched = zoom;
    zoom.reset();
    EXPECT_TRUE(watched.expired());
    zoom = makeZoom();
}

} // namespace
} // namespace lentora::test
