// Capture streams on a real X server, with programs that paint, and what their frames show.
#pragma once

#include "desktop/PaintedWindow.h"
#include "platform/x11/X11CaptureStream.h"
#include "platform/x11/X11CaptureStreams.h"
#include "platform/x11/X11Surface.h"
#include "testdesktop/TestDesktop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

using SurfacePtr = std::shared_ptr<const x11::X11Surface>;
using Milliseconds = std::chrono::milliseconds;

/// How long a test waits for something that is to happen. It is reached only by a failing test.
inline constexpr Milliseconds capturePatience{10'000};
/// How long nothing may happen until a stream counts as quiet.
inline constexpr Milliseconds quietTime{150};

/// Keeps the samples until the test takes them.
class FrameCollector final : public CaptureOutput {
public:
    void didOutputSample(const CaptureSample& sample) override {
        {
            const std::lock_guard lock(mutex_);
            frames_.push_back(std::dynamic_pointer_cast<const x11::X11Surface>(sample.surface));
            times_.push_back(std::chrono::steady_clock::now());
        }
        arrived_.notify_all();
    }

    /// The next frame, or null when none comes in time.
    SurfacePtr next(Milliseconds limit = capturePatience) {
        std::unique_lock lock(mutex_);
        if (!arrived_.wait_for(lock, limit, [&] { return !frames_.empty(); }))
            return nullptr;
        SurfacePtr frame = std::move(frames_.front());
        frames_.pop_front();
        return frame;
    }

    /// Takes frames until none has come for a while; the last one, if there was any.
    SurfacePtr untilQuiet() {
        SurfacePtr last;
        while (SurfacePtr frame = next(quietTime))
            last = std::move(frame);
        return last;
    }

    std::vector<std::chrono::steady_clock::time_point> times() {
        const std::lock_guard lock(mutex_);
        return times_;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<SurfacePtr> frames_;
    std::vector<std::chrono::steady_clock::time_point> times_;
};

/// Waits for one call.
class Completion {
public:
    CaptureStream::Done done() {
        return [state = state_](std::optional<std::string> error) {
            {
                const std::lock_guard lock(state->mutex);
                state->result = error.value_or("");
            }
            state->changed.notify_all();
        };
    }

    /// Empty on success.
    std::string await() {
        std::unique_lock lock(state_->mutex);
        if (!state_->changed.wait_for(lock, capturePatience, [&] { return !!state_->result; }))
            return "never done";
        return *state_->result;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<std::string> result;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

class CaptureFixture : public testing::Test {
protected:
    void SetUp() override {
        auto start = testdesktop::TestDesktop::start({.withTouchpad = false});
        ASSERT_TRUE(start.desktop) << start.error;
        desktop = std::move(start.desktop);
        program = std::make_unique<PaintingProgram>(desktop->displayName());
        other = std::make_unique<PaintingProgram>(desktop->displayName());
        options.display = desktop->displayName();
        filter.display.frame = {0, 0, 1920, 1080};
        configuration.minimumFrameInterval = 1.0 / 500;
    }

    void TearDown() override { stop(); }

    PaintedWindow window(const PixelRect& frame, Colour colour) const {
        return {*program, {.frame = frame, .colour = colour}};
    }

    void exclude(const PaintedWindow& window) {
        ShareableWindow excluded;
        excluded.windowID = window.id();
        filter.excludedWindows.push_back(excluded);
    }

    /// Starts a stream of a region, one pixel for one.
    void start(const PixelRect& region) {
        configuration.width = region.width;
        configuration.height = region.height;
        startConfigured(region);
    }

    void startConfigured(const PixelRect& region) {
        const double scale = options.currentSpace().scale;
        configuration.sourceRect = {region.x / scale, region.y / scale, region.width / scale,
                                    region.height / scale};
        x11::X11CaptureStreams streams(options);
        frames = std::make_shared<FrameCollector>();
        auto made = streams.make(filter, configuration, frames);
        ASSERT_TRUE(made.stream) << made.error;
        stream = std::dynamic_pointer_cast<x11::X11CaptureStream>(made.stream);
        Completion started;
        stream->start(started.done());
        ASSERT_EQ(started.await(), "");
    }

    void stop() {
        if (!stream)
            return;
        Completion stopped;
        stream->stop(stopped.done());
        EXPECT_EQ(stopped.await(), "");
        stream.reset();
    }

    /// Takes frames until one shows this colour there. Fails when none does.
    SurfacePtr awaitColour(int x, int y, Colour colour) {
        Colour last = 0;
        while (SurfacePtr frame = frames->next()) {
            last = at(frame, x, y);
            if (last == colour)
                return frame;
        }
        ADD_FAILURE() << "at " << x << "," << y << " is " << std::hex << last << " and not "
                      << colour;
        return nullptr;
    }

    Colour at(const SurfacePtr& frame, int x, int y) const {
        frame->awaitDrawn(program->connection());
        return program->pixel(frame->pixmap(), x, y);
    }

    std::unique_ptr<testdesktop::TestDesktop> desktop;
    /// Two programs that paint.
    std::unique_ptr<PaintingProgram> program;
    std::unique_ptr<PaintingProgram> other;
    x11::X11CaptureStreamsOptions options;
    CaptureFilter filter;
    CaptureConfiguration configuration;
    std::shared_ptr<FrameCollector> frames;
    std::shared_ptr<x11::X11CaptureStream> stream;
};

} // namespace lentora::test
