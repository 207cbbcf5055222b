// What drawing a lens costs, beside a bare client of the server that draws the same pixels of the
// same frame with a single request and nothing around them. Both are measured on one test desktop,
// in turns: the processor time of the server, and that of the program's main thread.
#include "BareDrawing.h"
#include "platform/posix/PosixClock.h"
#include "platform/qt/QtDescriptorWatches.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtText.h"
#include "platform/x11/X11CaptureStreams.h"
#include "platform/x11/X11Panels.h"
#include "platform/x11/X11Surface.h"
#include "render/AttributedText.h"
#include "render/Glyph.h"
#include "render/LayerTransactions.h"
#include "testdesktop/TestDesktop.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lentora {
namespace {

constexpr int frames = 40;
constexpr int rounds = 5;
// The first drawings after a window comes are on memory that the server has just been given.
constexpr int warmUp = 6;
// Long enough that each change is drawn, even where a drawing takes longer than a refresh.
constexpr int paceMs = 36;

double seconds(clockid_t clock) {
    std::timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Milliseconds of processor time.
struct Cost {
    double client = 0;
    double server = 0;
    double bytes = 0;
};

class Stopwatch {
public:
    explicit Stopwatch(pid_t server) {
        clock_getcpuclockid(server, &server_);
        client0_ = seconds(CLOCK_THREAD_CPUTIME_ID);
        server0_ = seconds(server_);
    }

    Cost stop(int count) const {
        return {(seconds(CLOCK_THREAD_CPUTIME_ID) - client0_) * 1000 / count,
                (seconds(server_) - server0_) * 1000 / count, 0};
    }

private:
    clockid_t server_{};
    double client0_ = 0;
    double server0_ = 0;
};

void runFor(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

// Brings the samples to the main thread.
class Frames final : public CaptureOutput {
public:
    explicit Frames(MainQueue& queue) : queue_(queue) {}

    void didOutputSample(const CaptureSample& sample) override {
        queue_.post([this, surface = sample.surface] {
            newest = surface;
            if (onFrame)
                onFrame();
        });
    }

    std::shared_ptr<const Surface> newest;
    std::function<void()> onFrame;

private:
    MainQueue& queue_;
};

// A window full of pixels that differ, which can change a little.
class Window {
public:
    Window(const std::string& display, std::uint16_t width, std::uint16_t height) {
        std::string error;
        connection_ = x11::Connection::open(display, error);
        xcb_connection_t* c = connection_->get();
        id_ = xcb_generate_id(c);
        gc_ = xcb_generate_id(c);
        const std::array<std::uint32_t, 2> values{0x336699, 1};
        xcb_create_window(c, XCB_COPY_FROM_PARENT, id_, connection_->root(), 0, 0, width, height, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        xcb_create_gc(c, gc_, id_, 0, nullptr);
        xcb_map_window(c, id_);
        for (std::uint16_t y = 0; y < height; y += 8) {
            for (std::uint16_t x = 0; x < width; x += 16)
                fill({static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 16, 8},
                     x * 2654435761U + y * 40503U);
        }
        finish();
    }

    void fill(const xcb_rectangle_t& part, std::uint32_t color) {
        xcb_change_gc(connection_->get(), gc_, XCB_GC_FOREGROUND, &color);
        xcb_poly_fill_rectangle(connection_->get(), id_, gc_, 1, &part);
        xcb_flush(connection_->get());
    }

    void finish() const {
        const x11::XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
            connection_->get(), xcb_get_input_focus(connection_->get()), nullptr));
    }

private:
    std::unique_ptr<x11::Connection> connection_;
    xcb_window_t id_ = XCB_NONE;
    xcb_gcontext_t gc_ = XCB_NONE;
};

// A lens with its border, card and badge, as the magnifier view makes it.
class Lens {
public:
    Lens(LayerTransactions& transactions, int width, int height)
        : width_(width), height_(height), root(std::make_shared<Layer>(transactions)),
          clip_(std::make_shared<Layer>(transactions)),
          image_(std::make_shared<Layer>(transactions)),
          card_(std::make_shared<Layer>(transactions)),
          label_(std::make_shared<Layer>(transactions)),
          badge_(std::make_shared<Layer>(transactions, Point{0.5, 0.5})) {
        const Rect frame{0, 0, static_cast<double>(width), static_cast<double>(height)};
        root->setFrame(frame);
        clip_->setFrame(frame);
        clip_->setStyle({.cornerRadius = 10,
                         .borderWidth = 2,
                         .borderColor = Color::white(1, 0.9),
                         .masksToBounds = true});
        card_->setFrame({14, 14, 220, 76});
        card_->setStyle({.cornerRadius = 12,
                         .borderWidth = 1,
                         .borderColor = Color::white(1, 0.22),
                         .backgroundColor = Color::white(0.11),
                         .masksToBounds = true});
        card_->setOpacity(0.78);
        label_->setFrame({27, 23, 194, 58});
        badge_->setFrame({0, 0, 32, 32});
        badge_->setStyle({.cornerRadius = 16,
                          .borderWidth = 1,
                          .borderColor = Color::white(0.16, 0.55),
                          .backgroundColor = Color::white(0.98, 0.95),
                          .shadow = {.opacity = 0.3, .radius = 3, .offset = {0, -1}}});
        const auto glyph = std::make_shared<Layer>(transactions);
        glyph->setFrame({7, 7, 18, 18});
        glyph->setContents(magnifierGlyphImage(18));
        badge_->addChild(glyph);
        clip_->addChild(image_);
        root->addChild(clip_);
        root->addChild(card_);
        root->addChild(label_);
        root->addChild(badge_);
    }

    /// On the card, as a locked lens has it.
    void showPercentage(int percent) {
        const Font big{15, FontWeight::semibold};
        const Font command{12, FontWeight::medium};
        const Color white = Color::white(1);
        auto text = std::make_shared<AttributedText>();
        text->runs = {{std::to_string(percent) + "%", big, white, {}},
                      {"  ·  Lentora\n", command, Color::white(0.82), {}},
                      {"Alt twice: close the lens\nEsc: close the lens", command, white, {}}};
        label_->setContents(std::shared_ptr<const AttributedText>(std::move(text)));
    }

    void fade(double opacity) { clip_->setOpacity(opacity); }
    void show(std::shared_ptr<const Surface> surface) { image_->setContents(std::move(surface)); }

    /// About a point from the top left, and to the right, as the bare client does.
    void zoom(double factor, double x, double y, int shift = 0) {
        const double bottom = height_ - y;
        image_->setFrame(
            {(1 - factor) * x + shift, (1 - factor) * bottom, factor * width_, factor * height_});
        badge_->setPosition({x + 32, bottom - 16});
    }

private:
    const int width_;
    const int height_;

public:
    const std::shared_ptr<Layer> root;

private:
    const std::shared_ptr<Layer> clip_;
    const std::shared_ptr<Layer> image_;
    const std::shared_ptr<Layer> card_;
    const std::shared_ptr<Layer> label_;
    const std::shared_ptr<Layer> badge_;
};

class Bench {
public:
    Bench(testdesktop::TestDesktop& desktop, int width, int height)
        : desktop_(desktop), width_(width), height_(height),
          window_(desktop.displayName(), static_cast<std::uint16_t>(width),
                  static_cast<std::uint16_t>(height)),
          bare_(desktop.displayName(), width, height) {}

    bool run() {
        std::string error;
        x11::ScreenLayout layout = x11::screenLayout({{1, {0, 0, width_, height_}, true}}, 1);
        const auto panels = x11::X11Panels::open(
            {.display = desktop_.displayName(), .layout = [&] { return layout; }},
            {clock_, queue_, watches_, text_}, error);
        if (!panels)
            return fail(error);
        panels_ = panels.get();
        LayerTransactions transactions(clock_, queue_);
        Lens lens(transactions, width_, height_);
        const Rect frame{0, 0, static_cast<double>(width_), static_cast<double>(height_)};
        const auto panel = panels->make(frame);
        CaptureFilter filter;
        filter.display.frame = frame;
        filter.excludedWindows.emplace_back().windowID = panel->windowNumber();
        filter.excludedWindows.emplace_back().windowID = bare_.window();
        CaptureConfiguration configuration;
        configuration.width = width_;
        configuration.height = height_;
        configuration.sourceRect = frame;
        const auto output = std::make_shared<Frames>(queue_);
        const auto made = x11::X11CaptureStreams({.display = desktop_.displayName()})
                              .make(filter, configuration, output);
        if (!made.stream)
            return fail(made.error);
        made.stream->start([](const std::optional<std::string>&) {});
        for (int i = 0; i < 500 && !output->newest; ++i)
            runFor(10);
        if (!output->newest)
            return fail("no frame");
        lens.show(output->newest);
        lens.showPercentage(200);
        panel->setContent(lens.root);
        panel->orderFront();
        runFor(300);
        for (const double zoom : {1.0, 1.5, 2.0, 4.0})
            compare(*panel, lens, *output, zoom);
        pinch(lens);
        fade(lens);
        smallChange(lens, *output);
        panel->orderOut();
        bool stopped = false;
        made.stream->stop([&](const std::optional<std::string>&) {
            queue_.post([&stopped] { stopped = true; });
        });
        while (!stopped)
            runFor(10);
        return true;
    }

private:
    static bool fail(const std::string& error) {
        std::fprintf(stderr, "bench_lens_drawing: %s\n", error.c_str());
        return false;
    }

    // The image moves by a pixel from frame to frame. Only one of the two windows is on the screen
    // at a time: what lies below the other is drawn, but not brought to the screen.
    void compare(Panel& panel, Lens& lens, const Frames& output, double zoom) {
        std::vector<Cost> ours;
        std::vector<Cost> bare;
        const auto surface = std::dynamic_pointer_cast<const x11::X11Surface>(output.newest);
        const double x = width_ / 2.0;
        const double y = height_ / 2.0;
        for (int round = 0; round < rounds; ++round) {
            ours.push_back(measure([&](int i) { lens.zoom(zoom, x, y, i % 2); }));
            panel.orderOut();
            bare_.show(*surface);
            runFor(200);
            bare.push_back(measure([&](int i) { bare_.draw(zoom, x, y, i % 2); }));
            bare_.hide();
            panel.orderFront();
            runFor(200);
        }
        print(std::to_string(zoom).substr(0, 3) + "x", ours, &bare);
    }

    void pinch(Lens& lens) {
        std::vector<Cost> ours;
        ours.reserve(rounds);
        for (int round = 0; round < rounds; ++round) {
            ours.push_back(measure([&](int i) {
                lens.zoom(2 + 0.01 * i, width_ / 2.0, height_ / 2.0);
                lens.showPercentage(200 + i);
            }));
        }
        print("2.0x, a percentage more with each frame", ours, nullptr);
    }

    void fade(Lens& lens) {
        lens.zoom(2, width_ / 2.0, height_ / 2.0);
        std::vector<Cost> ours;
        ours.reserve(rounds);
        for (int round = 0; round < rounds; ++round)
            ours.push_back(measure([&](int i) { lens.fade(0.4 + 0.01 * i); }));
        lens.fade(1);
        print("2.0x, fading in", ours, nullptr);
    }

    void smallChange(Lens& lens, Frames& output) {
        lens.zoom(2, width_ / 2.0, height_ / 2.0);
        output.onFrame = [&] { lens.show(output.newest); };
        runFor(200);
        std::vector<Cost> ours;
        ours.reserve(rounds);
        for (int round = 0; round < rounds; ++round) {
            ours.push_back(measure([&](int i) {
                window_.fill({static_cast<std::int16_t>(width_ / 2),
                              static_cast<std::int16_t>(height_ / 2), 2, 18},
                             i % 2 == 0 ? 0xFFFFFF : 0);
            }));
        }
        output.onFrame = {};
        print("2.0x, 2 x 18 pixels change", ours, nullptr);
    }

    Cost measure(const std::function<void(int)>& change) {
        for (int i = 0; i < warmUp; ++i) {
            change(i);
            runFor(paceMs);
        }
        const auto bytes = panels_->bytesSent();
        const Stopwatch watch(desktop_.serverPid());
        for (int i = 0; i < frames; ++i) {
            change(i);
            runFor(paceMs);
        }
        Cost cost = watch.stop(frames);
        cost.bytes = static_cast<double>(panels_->bytesSent() - bytes) / frames;
        return cost;
    }

    void print(const std::string& what, const std::vector<Cost>& ours,
               const std::vector<Cost>* bare) const {
        // What other programs on the machine add to a round is left out.
        const auto least = [](const std::vector<Cost>& costs, double Cost::*value) {
            return (*std::ranges::min_element(costs, {}, value)).*value;
        };
        const double server = least(ours, &Cost::server);
        std::printf("| %d x %d | %s | %.2f | %.2f | ", width_, height_, what.c_str(),
                    least(ours, &Cost::client), server);
        if (bare != nullptr) {
            const double bareServer = least(*bare, &Cost::server);
            std::printf("%.2f | %.2f | ", bareServer, server / bareServer);
        } else {
            std::printf("| | ");
        }
        std::printf("%.0f |\n", least(ours, &Cost::bytes));
        std::fflush(stdout);
    }

    testdesktop::TestDesktop& desktop_;
    const int width_;
    const int height_;
    Window window_;
    BareDrawing bare_;
    posix::PosixMediaClock clock_;
    qt::QtMainQueue queue_;
    qt::QtDescriptorWatches watches_;
    qt::QtTextRenderer text_;
    x11::X11Panels* panels_ = nullptr;
};

} // namespace
} // namespace lentora

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    auto start =
        lentora::testdesktop::TestDesktop::start({.screenWidth = 3840, .screenHeight = 2160});
    if (!start.desktop) {
        std::fprintf(stderr, "bench_lens_drawing: %s\n", start.error.c_str());
        return EXIT_FAILURE;
    }
    std::printf("| lens | zoom | main thread, ms | server, ms | bare client's server, ms | ratio | "
                "bytes |\n| --- | --- | ---: | ---: | ---: | ---: | ---: |\n");
    const bool fine = lentora::Bench(*start.desktop, 1600, 900).run() &&
                      lentora::Bench(*start.desktop, 3840, 2160).run();
    return fine ? EXIT_SUCCESS : EXIT_FAILURE;
}
