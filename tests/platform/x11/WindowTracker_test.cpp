// What the tracker knows after events and readings that race each other, without a server.
#include "platform/WindowList.h"
#include "platform/x11/DesktopSnapshot.h"
#include "platform/x11/WindowTracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace lentora::x11 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr Placement somewhere{{10, 20, 300, 200}, 0};

class WindowTrackerTest : public testing::Test {
protected:
    std::vector<WindowId> stack() const {
        std::vector<WindowId> ids;
        for (const TrackedWindow& window : tracker.stack())
            ids.push_back(window.id);
        return ids;
    }

    std::uint64_t generation(WindowId id) const { return tracker.find(id)->generation; }

    Aspects stale(WindowId id) const { return tracker.find(id)->stale; }

    /// All that a reader would do about a window.
    void readAll(WindowId id, WindowId client) {
        const TrackedWindow& window = *tracker.find(id);
        tracker.attributesRead(id, window.generation,
                               WindowTracker::Attributes{.inputOutput = true,
                                                         .depth = 24,
                                                         .mapped = window.mapped,
                                                         .placement = window.placement});
        tracker.clientFound(id, window.generation, client);
        tracker.reading(id, window.generation, aspect::ofClient)->properties.pid = 7;
    }

    void show(WindowId id, WindowId client = noWindow) {
        tracker.created(id, somewhere, false);
        tracker.mapped(id);
        readAll(id, client == noWindow ? id : client);
    }

    WindowTracker tracker;
};

TEST_F(WindowTrackerTest, StackingSurvivesSiblingsThatAreNotThere) {
    tracker.start(std::vector<WindowId>{1, 2, 3});
    tracker.configured(3, somewhere, false, 1);
    EXPECT_THAT(stack(), ElementsAre(1, 3, 2));
    tracker.configured(3, somewhere, false, noWindow);
    EXPECT_THAT(stack(), ElementsAre(3, 1, 2));
    tracker.configured(1, somewhere, false, 99);
    tracker.configured(1, somewhere, false, 1);
    tracker.configured(99, somewhere, false, 1);
    tracker.circulated(98, true);
    tracker.destroyed(97);
    EXPECT_THAT(stack(), ElementsAre(3, 1, 2));
    tracker.circulated(3, true);
    EXPECT_THAT(stack(), ElementsAre(1, 2, 3));
    // A number that comes again without its end having been told.
    tracker.created(1, somewhere, false);
    EXPECT_THAT(stack(), ElementsAre(2, 3, 1));
}

TEST_F(WindowTrackerTest, AnswersAboutAnEarlierWindowOfTheSameNumberAreDropped) {
    tracker.created(1, somewhere, false);
    const std::uint64_t first = generation(1);
    tracker.destroyed(1);
    tracker.created(1, somewhere, false);
    EXPECT_NE(generation(1), first);
    tracker.attributesRead(1, first, WindowTracker::Attributes{.inputOutput = true});
    tracker.clientFound(1, first, 5);
    EXPECT_EQ(tracker.reading(1, first, aspect::all), nullptr);
    EXPECT_EQ(stale(1), aspect::all);
    EXPECT_FALSE(tracker.find(1)->drawable);
    EXPECT_EQ(tracker.ofClient(5), nullptr);
}

TEST_F(WindowTrackerTest, OnlyWhatChangedIsReadAgain) {
    show(1);
    EXPECT_EQ(stale(1), 0U);
    tracker.configured(1, {{50, 60, 70, 80}, 2}, false, noWindow);
    EXPECT_EQ(stale(1), 0U);
    EXPECT_EQ(tracker.find(1)->outerRect(), (PixelRect{50, 60, 74, 84}));
    tracker.propertyChanged(1, aspect::title);
    EXPECT_EQ(stale(1), aspect::title);
    tracker.unmapped(1);
    tracker.mapped(1);
    EXPECT_EQ(stale(1), aspect::title | aspect::attributes);
}

TEST_F(WindowTrackerTest, AClientThatLeavesItsFrameTakesItsPropertiesWithIt) {
    tracker.setManaged(std::vector<WindowId>{5});
    EXPECT_THAT(tracker.missingClients(), ElementsAre(5));
    show(1, 5);
    EXPECT_THAT(tracker.missingClients(), IsEmpty());
    EXPECT_EQ(tracker.ofClient(5), tracker.find(1));
    tracker.propertyChanged(5, aspect::title);
    EXPECT_EQ(stale(1), aspect::title);
    tracker.clientConfigured(5);
    EXPECT_EQ(stale(1), aspect::title | aspect::clientGeometry);

    tracker.clientGone(5);
    EXPECT_EQ(tracker.ofClient(5), nullptr);
    EXPECT_EQ(tracker.find(1)->properties.pid, std::nullopt);
    EXPECT_EQ(stale(1) & aspect::client, aspect::client);
    tracker.adopted(5, false);
    EXPECT_EQ(tracker.ofClient(5), tracker.find(5));
    tracker.reparented(5, 1);
    EXPECT_EQ(tracker.ofClient(5), tracker.find(1));
    EXPECT_EQ(stale(1), aspect::ofClient);
}

TEST_F(WindowTrackerTest, WindowsAreLookedIntoAgainWhenAClientIsMissing) {
    show(1);
    show(2);
    tracker.setManaged(std::vector<WindowId>{2});
    EXPECT_EQ(stale(1) | stale(2), 0U);
    tracker.setManaged(std::vector<WindowId>{2, 5});
    EXPECT_EQ(stale(1), aspect::client);
    EXPECT_EQ(stale(2), 0U);
    // An icon that moves into a panel does not make a frame of it.
    show(3);
    tracker.reparented(3, 2);
    EXPECT_EQ(tracker.find(2)->client, 2U);
    EXPECT_EQ(tracker.ofClient(3), nullptr);
}

TEST_F(WindowTrackerTest, TheVisiblePartIsTheClientWithTheEdgesThatAreSaid) {
    tracker.created(1, {{100, 100, 320, 240}, 0}, true);
    tracker.setManaged(std::vector<WindowId>{5});
    readAll(1, 5);
    TrackedWindow& window = *tracker.reading(1, generation(1), aspect::all);
    window.clientGeometry = {10, 30, 300, 200};
    EXPECT_EQ(window.visibleRect(), (PixelRect{100, 100, 320, 240}));
    window.properties.frame = {.left = 2, .right = 3, .top = 20, .bottom = 4};
    EXPECT_EQ(window.visibleRect(), (PixelRect{108, 110, 305, 224}));
    // Never more than the frame has.
    window.properties.frame = {.left = 500, .right = 500, .top = 500, .bottom = 500};
    EXPECT_EQ(window.visibleRect(), (PixelRect{100, 100, 320, 240}));
    window.properties.shadow = {.left = 10, .right = 10, .top = 10, .bottom = 10};
    EXPECT_EQ(window.visibleRect(), (PixelRect{120, 140, 280, 180}));
}

class WindowLayerTest : public testing::Test {
protected:
    int layer() const { return layerOf(window, {.ownPid = 1, .monitors = {screen}}); }

    WindowLayerTest() {
        window.id = window.client = 10;
        window.depth = 24;
        window.placement = somewhere;
        window.properties.pid = 7;
    }

    const Monitor screen{.id = 1, .rect = {0, 0, 1920, 1080}, .primary = true};
    TrackedWindow window;
};

TEST_F(WindowLayerTest, ManagedWindowsFloatWhenTheyAreKeptAboveUnlessTheyFillTheScreen) {
    EXPECT_EQ(layer(), windowLayer::normal);
    window.properties.state.above = true;
    EXPECT_EQ(layer(), windowLayer::floating);
    window.properties.state.maximized = true;
    EXPECT_EQ(layer(), windowLayer::normal);
    window.properties.state = {.above = true, .fullscreen = true};
    EXPECT_EQ(layer(), windowLayer::normal);
    window.properties.type = WindowType::dock;
    EXPECT_EQ(layer(), windowLayer::dock);
    window.properties.type = WindowType::utility;
    EXPECT_EQ(layer(), windowLayer::floating);
    // A frame is not touched by the manager, as a menu is not; it is no menu.
    window.properties = {};
    window.overrideRedirect = true;
    window.client = 11;
    EXPECT_EQ(layer(), windowLayer::normal);
}

TEST_F(WindowLayerTest, WhatNobodyManagesIsAMenuOrTheScreenOrTheLens) {
    window.overrideRedirect = true;
    EXPECT_EQ(layer(), windowLayer::menu);
    window.placement.geometry = screen.rect;
    EXPECT_EQ(layer(), windowLayer::normal);
    window.properties.type = WindowType::transient;
    EXPECT_EQ(layer(), windowLayer::menu);
    window.properties.type = WindowType::unstated;
    // What one can see through is an overlay.
    window.shaped = true;
    EXPECT_EQ(layer(), windowLayer::menu);
    window.shaped = false;
    window.depth = 32;
    EXPECT_EQ(layer(), windowLayer::menu);
    window.properties.type = WindowType::notification;
    EXPECT_EQ(layer(), windowLayer::menu);
    window.properties.pid = 1;
    EXPECT_EQ(layer(), windowLayer::screenSaver);
    window.properties.type = WindowType::unstated;
    EXPECT_EQ(layer(), windowLayer::screenSaver);
    window.properties.type = WindowType::transient;
    EXPECT_EQ(layer(), windowLayer::menu);
}

TEST_F(WindowTrackerTest, WindowsThatAreNotReadYetAreInNoSnapshot) {
    tracker.created(1, somewhere, false);
    tracker.mapped(1);
    const SnapshotContext context{.layout = screenLayout({{1, {0, 0, 800, 600}, true}}, 1)};
    EXPECT_THAT(snapshotOf(tracker, context).windows, IsEmpty());
    readAll(1, 1);
    EXPECT_EQ(snapshotOf(tracker, context).windows.size(), 1U);
    tracker.treeChecked(1, generation(1), false);
    EXPECT_THAT(snapshotOf(tracker, context).windows, IsEmpty());
}

TEST(ScreenLayout, TurnsPixelsIntoPointsAndBackWithoutLoss) {
    EXPECT_EQ(scaleOf(std::nullopt), 1);
    EXPECT_EQ(scaleOf(96 * 1.3), 1.25);
    EXPECT_EQ(scaleOf(24), 1);
    EXPECT_EQ(scaleOf(1000), 8);
    const ScreenSpace space{.originX = -1080, .originY = 333, .scale = 1.75};
    for (int pixel = -3000; pixel < 3000; ++pixel) {
        const PixelRect rect{pixel, -pixel, pixel + 3001, 7};
        EXPECT_EQ(space.toPixels(space.toPoints(rect)), rect);
    }
}

TEST(ScreenLayout, PutsThePrimaryMonitorFirstAndAtTheOrigin) {
    const ScreenLayout layout = screenLayout({{.id = 1, .rect = {0, 0, 1000, 500}},
                                              {.id = 2, .rect = {0, 0, 0, 500}},
                                              {3, {1000, -300, 2000, 1000}, true}},
                                             2);
    const std::vector<Screen> screens = screensOf(layout);
    ASSERT_EQ(screens.size(), 2U);
    EXPECT_EQ(screens[0], (Screen{.frame = {0, 0, 1000, 500}, .scale = 2}));
    EXPECT_EQ(screens[1], (Screen{.frame = {-500, 100, 500, 250}, .scale = 2}));
    EXPECT_EQ(shareableDisplaysOf(layout)[1].frame, (Rect{-500, 150, 500, 250}));
}

} // namespace
} // namespace lentora::x11
