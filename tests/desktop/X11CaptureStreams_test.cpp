// What the frames of a stream show, on a real server.
#include "desktop/CaptureFixture.h"

#include <gmock/gmock.h>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

namespace lentora::test {
namespace {

constexpr Colour red = 0xCC2211;
constexpr Colour green = 0x22BB33;
constexpr Colour blue = 0x1133DD;
constexpr Colour white = 0xFFFFFF;
constexpr Colour black = 0x000000;

using X11CaptureStreams = CaptureFixture;

// Near enough: the server rounds when it mixes.
MATCHER_P(IsAbout, colour, "") {
    for (const unsigned shift : {0U, 8U, 16U}) {
        const int difference = static_cast<int>((arg >> shift) & 0xFF) - ((colour >> shift) & 0xFF);
        if (difference < -2 || difference > 2)
            return false;
    }
    return true;
}

TEST_F(X11CaptureStreams, ACoveredWindowIsWholeAndTheLensIsNeverInThePicture) {
    const auto target = window({100, 100, 300, 200}, red);
    const PaintedWindow cover(*other, {.frame = {50, 50, 200, 150}, .colour = blue});
    const PaintedWindow note(*other, {.frame = {300, 250, 200, 150}, .colour = green});
    const PaintedWindow lens(*program,
                             {.frame = {0, 0, 1920, 1080}, .colour = 0x80808080, .hasAlpha = true});
    exclude(cover);
    exclude(lens);
    start({100, 100, 300, 200});
    const auto frame = awaitColour(10, 10, red);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->width(), 300);
    EXPECT_EQ(frame->height(), 200);
    EXPECT_EQ(at(frame, 149, 99), red);
    EXPECT_EQ(at(frame, 299, 100), red);
    EXPECT_EQ(at(frame, 250, 180), green);
    // Whatever the left-out ones do.
    frames->untilQuiet();
    lens.paint({0, 0, 800, 800}, 0xFFFFFFFF);
    program->finish();
    EXPECT_FALSE(frames->next(quietTime));
    cover.raise();
    lens.raise();
    cover.moveTo(120, 120);
    lens.unmap();
    lens.map();
    // What they uncover, the server reports as drawn on.
    while (const auto same = frames->next(quietTime)) {
        EXPECT_EQ(at(same, 10, 10), red);
        EXPECT_EQ(at(same, 149, 99), red);
        EXPECT_EQ(at(same, 250, 180), green);
    }
}

TEST_F(X11CaptureStreams, OnePixelIsOneFrameAndNothingIsNothing) {
    const auto target = window({100, 100, 300, 200}, red);
    start({100, 100, 300, 200});
    const auto before = frames->untilQuiet();
    ASSERT_TRUE(before);
    EXPECT_EQ(before->damage().bounds(), (PixelRect{0, 0, 300, 200}));

    target.paint({40, 30, 1, 1}, white);
    const auto after = frames->next();
    ASSERT_TRUE(after);
    EXPECT_EQ(after->damage(), x11::PixelRegion({40, 30, 1, 1}));
    EXPECT_EQ(at(after, 40, 30), white);
    EXPECT_EQ(at(after, 41, 30), red);
    EXPECT_EQ(at(before, 40, 30), red) << "a held frame changed";

    const std::uint64_t sent = stream->bytesSent();
    EXPECT_FALSE(frames->next(std::chrono::seconds(1)));
    EXPECT_EQ(stream->bytesSent(), sent);
}

TEST_F(X11CaptureStreams, WhatLiesBehindShowsThroughWhatIsTranslucentOrCutOut) {
    const xcb_pixmap_t wallpaper = xcb_generate_id(program->get());
    xcb_create_pixmap(program->get(), program->rootDepth(), wallpaper, program->root(), 8, 8);
    const auto paintWallpaper = [&](Colour colour) {
        const xcb_gcontext_t gc = xcb_generate_id(program->get());
        const xcb_rectangle_t all{0, 0, 8, 8};
        xcb_create_gc(program->get(), gc, wallpaper, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(program->get(), wallpaper, gc, 1, &all);
    };
    paintWallpaper(0x204060);
    program->setRootPixmap(wallpaper);

    const auto behind = window({0, 0, 200, 100}, 0x00FF00);
    // Half of pure red.
    const PaintedWindow glass(
        *program,
        {.frame = {100, 0, 100, 200}, .colour = 0x80800000, .hasAlpha = true, .border = 0});
    const auto faint = window({300, 0, 100, 100}, white);
    faint.setOpacity(0.25);
    const auto cut = window({400, 0, 100, 100}, white);
    cut.cutTo({10, 10, 20, 20});
    program->finish();
    start({0, 0, 600, 300});

    auto frame = frames->untilQuiet();
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 550, 250), 0x204060U);
    EXPECT_EQ(at(frame, 50, 50), 0x00FF00U);
    EXPECT_THAT(at(frame, 150, 50), IsAbout(0x807F00));
    EXPECT_THAT(at(frame, 150, 150), IsAbout(0x902030));
    EXPECT_THAT(at(frame, 350, 50), IsAbout(0x586F87));
    EXPECT_EQ(at(frame, 415, 15), white);
    EXPECT_EQ(at(frame, 435, 15), 0x204060U);

    faint.setOpacity(1);
    EXPECT_TRUE(awaitColour(350, 50, white));
    cut.cutTo({30, 10, 20, 20});
    frame = awaitColour(435, 15, white);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 415, 15), 0x204060U);
    glass.paint({0, 0, 100, 200}, 0xFF0000FF);
    EXPECT_TRUE(awaitColour(150, 150, 0x0000FF));
    paintWallpaper(0x112233);
    program->setRootPixmap(wallpaper);
    EXPECT_TRUE(awaitColour(550, 250, 0x112233));
    // Its program frees it, and means it.
    program->setRootPixmap(XCB_NONE);
    EXPECT_TRUE(awaitColour(550, 250, black));
}

TEST_F(X11CaptureStreams, WindowsComeGoMoveAndChangePlaces) {
    const auto below = window({0, 0, 200, 200}, red);
    const auto above = window({100, 100, 200, 200}, green);
    start({0, 0, 400, 400});
    auto frame = awaitColour(150, 150, green);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 50, 50), red);
    EXPECT_EQ(at(frame, 350, 350), black);

    below.raise();
    frame = awaitColour(150, 150, red);
    above.raise();
    frame = awaitColour(150, 150, green);
    above.moveTo(200, 200);
    frame = awaitColour(350, 350, green);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 150, 150), red);
    EXPECT_EQ(at(frame, 250, 150), black);
    above.resize(50, 50);
    frame = awaitColour(350, 350, black);
    EXPECT_EQ(at(frame, 240, 240), green);
    above.resize(190, 190);
    awaitColour(350, 350, green);
    // Its new pixels are seen, not those it had.
    above.paint({180, 180, 5, 5}, blue);
    awaitColour(382, 382, blue);
    above.unmap();
    frame = awaitColour(350, 350, black);
    above.map();
    awaitColour(350, 350, green);
    above.destroy();
    awaitColour(350, 350, black);
    const PaintedWindow again(
        *program, {.frame = {300, 300, 100, 100}, .colour = blue, .border = 5, .id = above.id()});
    frame = awaitColour(350, 350, blue);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 302, 302), 0xABCDEFU);
    again.paint({0, 0, 1, 1}, white);
    awaitColour(305, 305, white);
}

TEST_F(X11CaptureStreams, AnExcludedNumberThatIsGivenToAnotherWindowExcludesNothing) {
    const auto first = window({0, 0, 100, 100}, red);
    exclude(first);
    const auto second = window({100, 0, 100, 100}, red);
    exclude(second);
    filter.excludedWindows.back().generation = 7;
    options.generationOf = [&](std::uint32_t id) {
        return id == second.id() ? std::optional<std::uint64_t>(8) : std::nullopt;
    };
    start({0, 0, 200, 100});
    const auto frame = awaitColour(150, 50, red);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 50, 50), black);
    first.destroy();
    const PaintedWindow successor(*program,
                                  {.frame = {0, 0, 100, 100}, .colour = green, .id = first.id()});
    awaitColour(50, 50, green);
}

TEST_F(X11CaptureStreams, AFrameOfAWindowManagerGoesWithItsWindow) {
    const auto frameWindow = window({0, 0, 200, 200}, blue);
    const PaintedWindow client(
        *other, {.frame = {10, 20, 180, 170}, .colour = red, .parent = frameWindow.id()});
    const auto plain = window({200, 0, 100, 100}, green);
    exclude(client);
    start({0, 0, 300, 200});
    const auto frame = awaitColour(250, 50, green);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 100, 100), black);
    EXPECT_EQ(at(frame, 5, 5), black);
    // A window manager that starts takes a window into its frame; one that ends gives it back.
    filter.excludedWindows.clear();
    exclude(plain);
    stop();
    start({0, 0, 300, 200});
    awaitColour(100, 100, red);
    xcb_reparent_window(other->get(), plain.id(), frameWindow.id(), 0, 0);
    other->finish();
    awaitColour(100, 100, black);
    xcb_reparent_window(other->get(), plain.id(), other->root(), 200, 0);
    other->finish();
    const auto last = awaitColour(100, 100, red);
    ASSERT_TRUE(last);
    EXPECT_EQ(at(last, 250, 50), black);
}

TEST_F(X11CaptureStreams, OnlyWindowsOfTheIncludedApplicationsAreThere) {
    const auto own = window({0, 0, 100, 100}, red);
    own.setProcess(4711);
    const auto frameWindow = window({100, 0, 100, 100}, blue);
    const PaintedWindow client(
        *other, {.frame = {0, 20, 100, 80}, .colour = green, .parent = frameWindow.id()});
    client.setProcess(4712);
    const auto late = window({200, 0, 100, 100}, white);
    filter.includingApplications = {{4712, "editor"}};
    start({0, 0, 300, 100});
    const auto frame = awaitColour(150, 50, green);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 50, 50), black);
    EXPECT_EQ(at(frame, 150, 10), blue);
    EXPECT_EQ(at(frame, 250, 50), black);
    stop();
    // What says nothing of its process belongs to the one that is connected.
    filter.includingApplications = {{::getpid(), "this test"}};
    start({0, 0, 300, 100});
    const auto mine = awaitColour(250, 50, white);
    ASSERT_TRUE(mine);
    EXPECT_EQ(at(mine, 50, 50), black);
}

TEST_F(X11CaptureStreams, OlderPixmapsAreBroughtUpToDate) {
    const auto target = window({0, 0, 100, 100}, red);
    start({0, 0, 100, 100});
    ASSERT_TRUE(frames->untilQuiet());
    std::vector<SurfacePtr> held;
    for (int i = 0; i < 40; ++i) {
        target.paint({i * 2, i * 2, 2, 2}, white);
        auto frame = frames->next();
        ASSERT_TRUE(frame);
        for (int j = 0; j <= i; ++j)
            ASSERT_EQ(at(frame, j * 2, j * 2), white) << "frame " << i << " lacks " << j;
        EXPECT_EQ(at(frame, 90, 10), red);
        if (i == 30) {
            // Held since frame 28, but the ones between were missed.
            EXPECT_EQ(frame->damageSince(*held.front()).bounds(), (PixelRect{58, 58, 4, 4}));
        }
        held.push_back(std::move(frame));
        // More or fewer are held, so that pixmaps of all ages are used again.
        while (held.size() > static_cast<std::size_t>(i % 4 == 0 ? 1 : 3))
            held.erase(held.begin());
    }
}

TEST_F(X11CaptureStreams, AFrameLargerThanTheDisplayAndPlacesOutsideOfIt) {
    const PaintedWindow large(*program, {.frame = {-500, -300, 3000, 2000}, .colour = red});
    start({-500, -300, 3000, 2000});
    auto frame = awaitColour(2999, 1999, red);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 0, 0), red);
    large.paint({1, 2, 1, 1}, white);
    awaitColour(1, 2, white);
    // The server is not made to keep as much as this for a window that is never seen whole.
    const PaintedWindow giant(
        *program, {.frame = {-9000, -9000, 20000, 20000}, .colour = 0, .hasNoBackground = true});
    const auto small = window({600, 300, 100, 100}, blue);
    frame = awaitColour(1150, 650, blue);
    giant.destroy();
    stop();
    configuration.width = 20000;
    configuration.height = 20000;
    const auto made = x11::X11CaptureStreams(options).make(filter, configuration, frames);
    EXPECT_FALSE(made.stream);
    EXPECT_THAT(made.error, testing::HasSubstr("20000x20000"));
}

TEST_F(X11CaptureStreams, AFrameThatTheServerHadNoMemoryForComesWhenItHas) {
    const auto target = window({0, 0, 300, 300}, red);
    const pid_t server = desktop->serverPid();
    rlimit usual{};
    ASSERT_EQ(::prlimit(server, RLIMIT_AS, nullptr, &usual), 0);
    // A third of what the frame needs.
    std::ifstream sizes("/proc/" + std::to_string(server) + "/statm");
    rlim_t pages = 0;
    ASSERT_TRUE(sizes >> pages);
    const rlim_t now = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
    const rlimit tight{.rlim_cur = now + (rlim_t{16} << 20), .rlim_max = usual.rlim_max};
    ASSERT_EQ(::prlimit(server, RLIMIT_AS, &tight, nullptr), 0);
    start({0, 0, 4000, 3000});
    EXPECT_FALSE(frames->next(Milliseconds(400)));
    ASSERT_EQ(::prlimit(server, RLIMIT_AS, &usual, nullptr), 0);
    EXPECT_TRUE(awaitColour(150, 150, red));
}

TEST_F(X11CaptureStreams, PointsArePixelsByTheScaleAndOtherSizesAreScaled) {
    // The primary monitor begins at pixel (100, 20); the display is beside it.
    options.space = [] { return x11::ScreenSpace{100, 20, 2}; };
    filter.display.frame = {430, -10, 480, 540};
    const auto target = window({1000, 100, 100, 100}, red);
    configuration.width = 50;
    configuration.height = 50;
    // Relative to the display, whose corner is at 960 pixels.
    startConfigured({40, 100, 100, 100});
    auto frame = awaitColour(25, 25, red);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->width(), 50);
    EXPECT_EQ(at(frame, 1, 1), red);
    EXPECT_EQ(at(frame, 48, 48), red);
    frames->untilQuiet();
    target.paint({40, 60, 20, 20}, white);
    frame = awaitColour(25, 35, white);
    ASSERT_TRUE(frame);
    EXPECT_EQ(at(frame, 15, 35), red);
    EXPECT_TRUE(frame->damage().bounds().contains({20, 30, 10, 10}));
    EXPECT_TRUE((PixelRect{16, 26, 18, 18}).contains(frame->damage().bounds()));
}

TEST_F(X11CaptureStreams, FramesKeepTheirDistanceAndTheNewestWins) {
    constexpr double interval = 0.1;
    configuration.minimumFrameInterval = interval;
    configuration.queueDepth = 32;
    const auto target = window({0, 0, 300, 300}, red);
    start({0, 0, 300, 300});
    ASSERT_TRUE(frames->untilQuiet());
    const std::size_t before = frames->times().size();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    for (Colour colour = 0; std::chrono::steady_clock::now() < end; ++colour) {
        target.paint({static_cast<int>(colour % 300), 0, 1, 300}, colour & 0xFFFFFF);
        program->finish();
    }
    target.paint({0, 0, 300, 300}, white);
    awaitColour(299, 299, white);
    const auto times = frames->times();
    ASSERT_GE(times.size(), before + 4);
    // One may come early after one that was late; over time they keep the distance.
    const double took = std::chrono::duration<double>(times.back() - times[before]).count();
    EXPECT_LE(static_cast<double>(times.size() - before), took / interval + 3);
}

TEST_F(X11CaptureStreams, WaitsWhenAllSurfacesAreHeldAndThenGivesTheNewest) {
    configuration.queueDepth = 2;
    const auto target = window({0, 0, 100, 100}, red);
    start({0, 0, 100, 100});
    auto first = frames->untilQuiet();
    target.paint({0, 0, 100, 100}, green);
    auto second = frames->next();
    ASSERT_TRUE(first && second);
    target.paint({0, 0, 100, 100}, blue);
    target.paint({0, 0, 100, 100}, white);
    program->finish();
    EXPECT_FALSE(frames->next(quietTime));
    EXPECT_EQ(at(first, 50, 50), red);
    EXPECT_EQ(at(second, 50, 50), green);
    first.reset();
    const auto third = frames->next();
    ASSERT_TRUE(third);
    EXPECT_EQ(at(third, 50, 50), white);
}

TEST_F(X11CaptureStreams, SurfacesOutliveTheirStream) {
    const auto target = window({0, 0, 100, 100}, red);
    start({0, 0, 100, 100});
    auto frame = awaitColour(50, 50, red);
    ASSERT_TRUE(frame);
    stop();
    target.paint({0, 0, 100, 100}, green);
    program->finish();
    EXPECT_EQ(at(frame, 50, 50), red);
    const xcb_pixmap_t pixmap = frame->pixmap();
    frame.reset();
    frames.reset();
    // The connection ends with the last surface; the server notices a moment later.
    const auto limit = std::chrono::steady_clock::now() + capturePatience;
    bool exists = true;
    while (exists && std::chrono::steady_clock::now() < limit) {
        const x11::XcbPtr<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(
            program->get(), xcb_get_geometry(program->get(), pixmap), nullptr));
        exists = geometry != nullptr;
    }
    EXPECT_FALSE(exists);
}

TEST_F(X11CaptureStreams, SaysWhenThereIsNoServerAndWhenItGoesAway) {
    options.display = ":9999";
    const auto made = x11::X11CaptureStreams(options).make(filter, configuration, frames);
    EXPECT_FALSE(made.stream);
    EXPECT_THAT(made.error, testing::HasSubstr(":9999"));

    options.display = desktop->displayName();
    Completion lost;
    options.serverLost = [done = lost.done()] { done(std::nullopt); };
    const auto target = window({0, 0, 100, 100}, red);
    start({0, 0, 100, 100});
    auto frame = awaitColour(50, 50, red);
    ::kill(desktop->serverPid(), SIGKILL);
    EXPECT_EQ(lost.await(), "");
    stop();
}

} // namespace
} // namespace lentora::test
