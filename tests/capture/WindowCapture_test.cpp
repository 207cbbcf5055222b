// What is captured, what is left out of it, and how frames come to the main thread.
#include "capture/CaptureFixture.h"
#include "platform/sim/SimSurface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr int ownPid = sim::SimApplications::programPid;
constexpr std::uint32_t lensID = 900;
constexpr const char* lensNotListed =
    "capture: lente non in elenco -> escludo l'app intera dalla cattura (percorso macOS 14)";
constexpr const char* contentUnavailable =
    "capture: !! SCShareableContent non disponibile: nessuna esclusione della lente";

// What is captured

TEST_F(CaptureTest, CapturesTheRegionOfTheDisplayThatTheWindowOccupies) {
    // A second display above the first and to its right.
    desktop.state.displays.push_back({.frame = {1920, 500, 1280, 1024}, .scale = 1.5});
    CaptureTarget second = target({2000, -400, 800.4, 601});
    second.scDisplay.frame = {1920, -444, 1280, 1024};
    second.excludeWindows.resize(2);
    second.excludeWindows[0].windowID = 8;
    second.excludeWindows[1].windowID = 6;
    startAndRun(second);
    ASSERT_EQ(changes.size(), 1U);
    const CaptureConfiguration& configuration = changes[0].configuration;
    EXPECT_EQ(configuration.width, 1201);
    EXPECT_EQ(configuration.height, 902);
    EXPECT_EQ(configuration.sourceRect, (Rect{80, 44, 800.4, 601}));
    EXPECT_TRUE(configuration.scalesToFit);
    EXPECT_FALSE(configuration.showsCursor);
    EXPECT_EQ(configuration.pixelFormat, PixelFormat::bgra8);
    EXPECT_EQ(configuration.queueDepth, 6);
    EXPECT_EQ(configuration.minimumFrameInterval, 1.0 / 60);
    EXPECT_EQ(configuration.captureResolution, CaptureResolution::best);
    EXPECT_EQ(changes[0].filter.display, second.scDisplay);
    EXPECT_FALSE(changes[0].filter.includingApplications);
    EXPECT_THAT(excluded(changes[0]), ElementsAre(8, 6));
    EXPECT_THAT(logLines,
                ElementsAre("perf: SCStream: stopPrev 0 ms + startCapture 500 ms",
                            "capture: STARTED (display region) 'Notes' [Editor] "
                            "cgFrame=(2000,-400 800x601) srcRect=(80,44 800x601) scale=1.500 "
                            "px=1201x902 occluders=2 lens=none"));
    EXPECT_EQ(fetches(), 0);
}

TEST_F(CaptureTest, ThePictureHasAtLeastTwoPixelsAndHalvesAreRoundedUp) {
    struct Case {
        Size points;
        int width;
        int height;
    };
    // On a display of scale 2.
    for (const Case& c :
         {Case{{0.4, 0}, 2, 2}, Case{{1.25, 1.2}, 3, 2}, Case{{10.25, 9.2}, 21, 18}}) {
        changes.clear();
        startAndRun(target({0, 0, c.points.width, c.points.height}));
        run(0.25);
        ASSERT_FALSE(changes.empty());
        EXPECT_EQ(changes.back().configuration.width, c.width);
        EXPECT_EQ(changes.back().configuration.height, c.height);
    }
}

TEST_F(CaptureTest, ASlowProcessorGetsHalfTheFrames) {
    makeCapture(true);
    startAndRun(target());
    EXPECT_EQ(changes.at(0).configuration.minimumFrameInterval, 1.0 / 30);
    // From the first frame on, a second and a little.
    run(0.125 + 1.01);
    EXPECT_EQ(delivered.size(), 31U);
}

TEST_F(CaptureTest, ShowsTheWindowWithoutWhatStandsInFrontOfIt) {
    desktop.state.windows = {window(lensID, {0, 0, 1920, 1080}, "#ffffff"),
                             window(8, {100, 50, 400, 600}, "#0000ff"),
                             window(5, {100, 50, 800, 600}, "#ff0000")};
    capture->setLensWindowID(lensID);
    Picture picture;
    capture->setOnFrame([&](const auto& surface, Size size, const Rect& frame) {
        EXPECT_EQ(size, (Size{1600, 1200}));
        EXPECT_EQ(frame, target().cgFrame);
        picture = dynamic_cast<const sim::SimSurface&>(*surface).picture();
        capture->setOnFrame({});
    });
    start(coveredTarget());
    run(2);
    ASSERT_EQ(picture.pixels().size(), 1600U * 1200U);
    EXPECT_THAT(picture.pixels(), testing::Each(Pixel{255, 0, 0, 255}));
}

// Keeping the lens out

TEST_F(CaptureTest, LeavesTheListedLensOutAndRemembersIt) {
    list(5);
    list(lensID);
    capture->setLensWindowID(lensID);
    start(coveredTarget());
    run(1);
    EXPECT_THAT(excluded(changes.at(0)), ElementsAre(lensID, 8));
    EXPECT_FALSE(changes[0].filter.includingApplications);
    EXPECT_THAT(logLines.back(), testing::EndsWith(" occluders=1 lens=window"));
    startAndRun(target());
    run(0.25);
    EXPECT_THAT(excluded(changes.back()), ElementsAre(lensID));
    EXPECT_EQ(fetches(), 1);
    // Another panel: its number is not the one remembered.
    list(901);
    capture->setLensWindowID(901);
    start(target());
    run(1.25);
    EXPECT_THAT(excluded(changes.back()), ElementsAre(901));
    EXPECT_EQ(fetches(), 2);
}

TEST_F(CaptureTest, LeavesTheProgramOutWhereTheLensIsNotListed) {
    list(5);
    list(6, 3, "Editor");
    list(7, ownPid, "Lentora");
    list(9, 4, "Shell");
    capture->setLensWindowID(lensID);
    start(coveredTarget());
    run(1);
    EXPECT_THAT(excluded(changes.at(0)), ElementsAre(8));
    ASSERT_TRUE(changes[0].filter.includingApplications);
    EXPECT_EQ(*changes[0].filter.includingApplications,
              (std::vector<ShareableApplication>{{3, "Editor"}, {4, "Shell"}}));
    EXPECT_THAT(logLines, ElementsAre(lensNotListed, StartsWith("perf: SCStream"),
                                      HasSubstr(" occluders=1 lens=app-level")));
}

TEST_F(CaptureTest, ForgetsALensThatIsNoLongerListed) {
    list(lensID);
    capture->setLensWindowID(lensID);
    start(target());
    run(1);
    desktop.state.windows.clear();
    capture->setLensWindowID(901);
    start(target());
    run(1.25);
    // The first number again: what was remembered of it is gone.
    capture->setLensWindowID(lensID);
    start(target());
    run(1.25);
    EXPECT_EQ(fetches(), 3);
    EXPECT_THAT(logLines.back(), HasSubstr("lens=app-level"));
}

TEST_F(CaptureTest, CapturesWithTheLensWhereTheSystemDoesNotAnswer) {
    desktop.state.timing.shareableContent = -0.5;
    capture->setLensWindowID(lensID);
    start(coveredTarget());
    run(1);
    EXPECT_THAT(excluded(changes.at(0)), ElementsAre(8));
    EXPECT_FALSE(changes[0].filter.includingApplications);
    EXPECT_THAT(logLines, ElementsAre(contentUnavailable, StartsWith("perf: SCStream"),
                                      HasSubstr(" occluders=1 lens=none")));
}

TEST_F(CaptureTest, AFailedFetchKeepsWhatIsRememberedOfTheLens) {
    list(lensID);
    capture->setLensWindowID(lensID);
    start(target());
    run(1);
    desktop.state.timing.shareableContent = -0.5;
    capture->setLensWindowID(901);
    start(target());
    run(0.5);
    // While the system is being asked, the first panel is shown again.
    capture->setLensWindowID(lensID);
    run(0.75);
    EXPECT_THAT(excluded(changes.back()), ElementsAre(lensID));
    EXPECT_THAT(logLines.back(), HasSubstr("lens=window"));
}

// Failures

TEST_F(CaptureTest, AStartThatFailsLeavesNoStream) {
    const std::vector<std::pair<std::function<void()>, std::string>> causes{
        {[this] { desktop.captureStreams.makeError = "no output"; }, "no output"},
        {[this] {
             desktop.captureStreams.makeError.clear();
             desktop.state.timing.startCapture = -0.5;
         },
         "the capture service refused"},
        {[this] {
             desktop.state.timing.shareableContent = 0.5;
             desktop.state.timing.startCapture = 0.5;
             desktop.state.permissions.screenRecording = false;
         },
         "screen recording is not permitted"},
        {[this] {
             desktop.state.permissions.screenRecording = true;
             desktop.state.displays = {{.frame = {0, 0, 800, 600}, .scale = 1}};
         },
         "the display is gone"},
    };
    startAndRun(target());
    for (const auto& [cause, error] : causes) {
        cause();
        takenLog();
        start(target({1, 2, 30, 40}));
        run(1);
        EXPECT_THAT(takenLog().back(), "capture: !! startCapture failed: " + error);
        EXPECT_FALSE(desktop.captureStreams.isRunning());
        EXPECT_EQ(capture->currentTarget()->cgFrame, (Rect{1, 2, 30, 40}));
        capture->stop();
        run(1);
        EXPECT_THAT(logLines, IsEmpty());
    }
}

TEST_F(CaptureTest, AStopThatFailsCountsAsOne) {
    startAndRun(target());
    desktop.captureStreams.stopError = "busy";
    takenLog();
    capture->stop();
    capture->stop();
    run(1);
    EXPECT_THAT(logLines, ElementsAre("capture: stopped"));
    EXPECT_TRUE(capture->currentTarget());
}

// Starting and stopping

TEST_F(CaptureTest, AStartReplacesTheStreamThatRuns) {
    startAndRun(target());
    run(0.5);
    takenLog();
    delivered.clear();
    start(target({0, 0, 40, 30}));
    run(0.8);
    EXPECT_THAT(logLines, ElementsAre("capture: stopped",
                                      "perf: SCStream: stopPrev 250 ms + startCapture 500 ms",
                                      HasSubstr("cgFrame=(0,0 40x30)")));
    // Frames of the old stream came until it had stopped, with the old window's frame.
    ASSERT_FALSE(delivered.empty());
    EXPECT_EQ(delivered.back().frame, target().cgFrame);
    run(1);
    EXPECT_EQ(delivered.back().frame, (Rect{0, 0, 40, 30}));
    EXPECT_EQ(delivered.back().pixelSize, (Size{80, 60}));
}

TEST_F(CaptureTest, AStopDuringAStartEndsTheStream) {
    start(target());
    run(0.25);
    capture->stop();
    run(1);
    EXPECT_THAT(logLines, ElementsAre(StartsWith("perf: SCStream"), StartsWith("capture: STARTED"),
                                      "capture: stopped"));
    EXPECT_FALSE(desktop.captureStreams.isRunning());
}

TEST_F(CaptureTest, StartsThatOverlapAreCarriedOutOneAfterTheOther) {
    start(target({0, 0, 10, 10}));
    run(0.25);
    start(target({0, 0, 20, 10}));
    capture->stop();
    start(target({0, 0, 30, 10}));
    run(5);
    std::vector<std::string> order;
    for (const Change& change : changes)
        order.push_back((change.running ? "+" : "-") + std::to_string(change.configuration.width));
    EXPECT_THAT(order, ElementsAre("+20", "-20", "+40", "-40", "+60"));
    EXPECT_EQ(capture->currentTarget()->cgFrame.width, 30);
}

TEST_F(CaptureTest, WorkThatIsNeverRunIsTakenApart) {
    startAndRun(target());
    capture->stop();
    run(0.125);
    start(target());
    start(target());
    // The stop waits for its stream, the starts for their turn.
    desktop.timeline.clear();
    start(target());
    run(1);
    EXPECT_THAT(logLines.back(), StartsWith("capture: STARTED"));
    EXPECT_THAT(logLines, testing::Not(testing::Contains("capture: stopped")));
    // The turn that was granted is on its way.
    capture->stop();
    start(target());
    desktop.timeline.clear();
    capture->stop();
    run(1);
    EXPECT_EQ(logLines.back(), "capture: stopped");
    const std::weak_ptr<WindowCapture> weak = capture;
    capture.reset();
    EXPECT_TRUE(weak.expired());
}

// Frames

TEST_F(CaptureTest, TheMainThreadGetsTheNewestFrameOnly) {
    mainQueue.busy = true;
    const std::weak_ptr<const Surface> first = sample(SampleStatus::complete);
    EXPECT_FALSE(first.expired());
    const auto second = sample(SampleStatus::complete);
    EXPECT_TRUE(first.expired());
    mainQueue.goOn();
    run(0);
    ASSERT_EQ(delivered.size(), 1U);
    EXPECT_EQ(delivered[0].surface.lock(), second);
    EXPECT_EQ(delivered[0].pixelSize, (Size{4, 3}));
    // Nothing was ever started.
    EXPECT_EQ(delivered[0].frame, Rect{});
    EXPECT_EQ(mainQueue.posts, 1);
}

TEST_F(CaptureTest, BlankSuspendedAndEmptySamplesAreDropped) {
    sample(SampleStatus::blank);
    sample(SampleStatus::suspended);
    capture->didOutputSample({SampleStatus::complete, 4, 3, nullptr});
    run(0);
    EXPECT_EQ(mainQueue.posts, 0);
    for (const std::optional<SampleStatus> status :
         {std::optional<SampleStatus>{}, std::optional(SampleStatus::complete),
          std::optional(SampleStatus::idle), std::optional(SampleStatus::started)}) {
        delivered.clear();
        const auto surface = sample(status);
        // Does not take the place of the frame that waits.
        sample(SampleStatus::blank);
        run(0);
        ASSERT_EQ(delivered.size(), 1U);
        EXPECT_EQ(delivered[0].surface.lock(), surface);
    }
}

TEST_F(CaptureTest, TheShownFrameStaysValidUntilTheNextOrTheStop) {
    startAndRun(target());
    desktop.captureStreams.deliversFrames = false;
    desktop.captureStreams.deliverSample(SampleStatus::complete, true);
    run(0);
    EXPECT_FALSE(delivered.at(0).surface.expired());
    desktop.captureStreams.deliverSample(SampleStatus::complete, true);
    EXPECT_FALSE(delivered[0].surface.expired());
    run(0);
    EXPECT_TRUE(delivered[0].surface.expired());
    EXPECT_FALSE(delivered.at(1).surface.expired());
    capture->stop();
    run(1);
    EXPECT_TRUE(delivered[1].surface.expired());
}

TEST_F(CaptureTest, AStopDropsTheWaitingFrameOfItsStream) {
    startAndRun(target());
    mainQueue.busy = true;
    run(0.5);
    capture->stop();
    run(0.5);
    mainQueue.goOn();
    run(0);
    EXPECT_THAT(delivered, IsEmpty());
    // Delivery works as before.
    sample(SampleStatus::complete);
    run(0);
    EXPECT_EQ(delivered.size(), 1U);
}

TEST_F(CaptureTest, AStopWithoutAStreamLeavesTheWaitingFrame) {
    mainQueue.busy = true;
    sample(SampleStatus::complete);
    capture->stop();
    run(1);
    EXPECT_THAT(logLines, IsEmpty());
    mainQueue.goOn();
    run(0);
    EXPECT_EQ(delivered.size(), 1U);
}

TEST_F(CaptureTest, ACaptureThatIsGoneDeliversNothingAndEndsItsStream) {
    startAndRun(target());
    run(0.5);
    ASSERT_FALSE(delivered.empty());
    delivered.clear();
    mainQueue.busy = true;
    run(0.5);
    capture.reset();
    mainQueue.goOn();
    run(0);
    EXPECT_THAT(delivered, IsEmpty());
    run(1);
    EXPECT_FALSE(desktop.captureStreams.isRunning());
}

} // namespace
} // namespace lentora::test
