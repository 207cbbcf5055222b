// What a capture stream costs, and how long a change of a window takes to become a frame, beside a
// bare client of the server that does the least that is possible: it waits for damage, copies the
// damaged part of the window's pixels, and waits until that is done. Both, and no client at all,
// are measured on one test desktop, in turns. Times begin before the change is sent to the server.
#include "platform/x11/Connection.h"
#include "platform/x11/X11CaptureStreams.h"
#include "platform/x11/X11Surface.h"
#include "testdesktop/TestDesktop.h"

#include <xcb/composite.h>
#include <xcb/damage.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

namespace lentora {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int rounds = 5;
constexpr int changesPerRound = 300;
constexpr std::uint16_t windowWidth = 1600;
constexpr std::uint16_t windowHeight = 900;
constexpr std::chrono::nanoseconds pace{1'000'000'000 / 60};
constexpr std::chrono::seconds patience{5};

double seconds(clockid_t clock) {
    std::timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Another program's window, which changes as a whole or by as much as a cursor that blinks.
class ChangingWindow {
public:
    ChangingWindow(const std::string& display, bool changesAsAWhole)
        : connection_(x11::Connection::open(display, error_)),
          change_(changesAsAWhole ? xcb_rectangle_t{0, 0, windowWidth, windowHeight}
                                  : xcb_rectangle_t{700, 400, 2, 18}) {
        xcb_connection_t* c = connection_->get();
        window_ = xcb_generate_id(c);
        gc_ = xcb_generate_id(c);
        const std::array<std::uint32_t, 2> values{0x336699, 1};
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window_, connection_->root(), 100, 50,
                          windowWidth, windowHeight, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT,
                          values.data());
        xcb_create_gc(c, gc_, window_, 0, nullptr);
        xcb_map_window(c, window_);
        finish();
    }
    ~ChangingWindow() {
        xcb_destroy_window(connection_->get(), window_);
        finish();
    }
    ChangingWindow(const ChangingWindow&) = delete;
    ChangingWindow& operator=(const ChangingWindow&) = delete;

    xcb_window_t id() const { return window_; }

    void change() {
        const std::uint32_t colour = ++count_ % 2 == 0 ? 0x336699 : 0x996633;
        xcb_change_gc(connection_->get(), gc_, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(connection_->get(), window_, gc_, 1, &change_);
        xcb_flush(connection_->get());
    }

private:
    void finish() const {
        const x11::XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
            connection_->get(), xcb_get_input_focus(connection_->get()), nullptr));
    }

    std::string error_;
    std::unique_ptr<x11::Connection> connection_;
    xcb_rectangle_t change_;
    xcb_window_t window_ = XCB_NONE;
    xcb_gcontext_t gc_ = XCB_NONE;
    unsigned count_ = 0;
};

// When a change arrived, and what the thread that it arrived on has consumed.
class Arrivals {
public:
    void arrived() {
        time_ = Clock::now();
        cpu_ = seconds(CLOCK_THREAD_CPUTIME_ID);
        arrival_.release();
    }
    bool await() { return arrival_.try_acquire_for(patience); }
    void drain() {
        while (arrival_.try_acquire()) {
        }
    }
    Clock::time_point time() const { return time_; }
    double cpu() const { return cpu_; }

private:
    Clock::time_point time_;
    double cpu_ = 0;
    std::counting_semaphore<> arrival_{0};
};

struct Result {
    std::vector<double> milliseconds;
    double clientSeconds = 0;
    double serverSeconds = 0;
    double wallSeconds = 0;
};

// Changes the window and waits each time until that has arrived, if somebody is there to tell.
bool change(ChangingWindow& window, Arrivals* arrivals, clockid_t serverClock, Result& result) {
    if (arrivals != nullptr) {
        window.change();
        if (!arrivals->await())
            return false;
        std::this_thread::sleep_for(4 * pace);
        arrivals->drain();
    }
    const double server = seconds(serverClock);
    const double client = arrivals != nullptr ? arrivals->cpu() : 0;
    const auto start = Clock::now();
    for (int i = 0; i < changesPerRound; ++i) {
        std::this_thread::sleep_until(start + i * pace);
        const auto before = Clock::now();
        window.change();
        if (arrivals == nullptr)
            continue;
        if (!arrivals->await())
            return false;
        result.milliseconds.push_back(
            std::chrono::duration<double, std::milli>(arrivals->time() - before).count());
    }
    std::this_thread::sleep_until(start + changesPerRound * pace);
    result.wallSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    result.serverSeconds += seconds(serverClock) - server;
    if (arrivals != nullptr)
        result.clientSeconds += arrivals->cpu() - client;
    return true;
}

// Copies what is damaged, until told to end by a message.
void runBareClient(const std::string& display, xcb_window_t window, Arrivals& arrivals,
                   xcb_window_t mailbox, std::binary_semaphore& ready) {
    std::string error;
    const auto connection = x11::Connection::open(display, error);
    xcb_connection_t* c = connection->get();
    const x11::XcbPtr<xcb_composite_query_version_reply_t> composite(
        xcb_composite_query_version_reply(c, xcb_composite_query_version(c, 0, 4), nullptr));
    const x11::XcbPtr<xcb_damage_query_version_reply_t> version(
        xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
    const auto damageNotify = connection->extension(xcb_damage_id)->firstEvent;
    xcb_composite_redirect_window(c, window, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    const xcb_pixmap_t source = xcb_generate_id(c);
    xcb_composite_name_window_pixmap(c, window, source);
    const xcb_pixmap_t copy = xcb_generate_id(c);
    xcb_create_pixmap(c, 24, copy, window, windowWidth, windowHeight);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    const std::uint32_t exposures = 0;
    xcb_create_gc(c, gc, copy, XCB_GC_GRAPHICS_EXPOSURES, &exposures);
    const xcb_damage_damage_t damage = xcb_generate_id(c);
    xcb_damage_create(c, damage, window, XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX);
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, mailbox, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(c);
    ready.release();
    while (const x11::XcbPtr<xcb_generic_event_t> event{xcb_wait_for_event(c)}) {
        if ((event->response_type & 0x7F) == XCB_DESTROY_NOTIFY)
            return;
        if (event->response_type != damageNotify)
            continue;
        const auto area = reinterpret_cast<const xcb_damage_notify_event_t&>(*event).area;
        xcb_damage_subtract(c, damage, XCB_NONE, XCB_NONE);
        xcb_copy_area(c, source, copy, gc, area.x, area.y, area.x, area.y, area.width, area.height);
        const x11::XcbPtr<xcb_get_input_focus_reply_t> done(
            xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        arrivals.arrived();
    }
}

bool measureBareClient(const std::string& display, ChangingWindow& window, clockid_t serverClock,
                       Result& result) {
    std::string error;
    const auto own = x11::Connection::open(display, error);
    const xcb_window_t mailbox = xcb_generate_id(own->get());
    xcb_create_window(own->get(), 0, mailbox, own->root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    const x11::XcbPtr<xcb_get_input_focus_reply_t> created(
        xcb_get_input_focus_reply(own->get(), xcb_get_input_focus(own->get()), nullptr));
    Arrivals arrivals;
    std::binary_semaphore ready{0};
    std::thread thread([&] { runBareClient(display, window.id(), arrivals, mailbox, ready); });
    ready.acquire();
    const bool fine = change(window, &arrivals, serverClock, result);
    xcb_destroy_window(own->get(), mailbox);
    xcb_flush(own->get());
    thread.join();
    return fine;
}

// Keeps the newest frame, as one that shows it would. A frame has arrived when it is drawn.
class Shower final : public CaptureOutput {
public:
    Shower(const std::string& display, Arrivals& arrivals)
        : reader_(x11::Connection::open(display, error_)), arrivals_(arrivals) {}
    void didOutputSample(const CaptureSample& sample) override {
        shown_ = sample.surface;
        dynamic_cast<const x11::X11Surface&>(*shown_).awaitDrawn(*reader_);
        const x11::XcbPtr<xcb_get_input_focus_reply_t> drawn(xcb_get_input_focus_reply(
            reader_->get(), xcb_get_input_focus(reader_->get()), nullptr));
        arrivals_.arrived();
    }

private:
    std::string error_;
    std::unique_ptr<x11::Connection> reader_;
    Arrivals& arrivals_;
    std::shared_ptr<const Surface> shown_;
};

bool measureStream(const std::string& display, ChangingWindow& window, clockid_t serverClock,
                   Result& result, std::vector<double>& startMilliseconds) {
    Arrivals arrivals;
    const auto output = std::make_shared<Shower>(display, arrivals);
    x11::X11CaptureStreams streams({.display = display});
    CaptureFilter filter;
    filter.display.frame = {0, 0, 1920, 1080};
    CaptureConfiguration configuration;
    configuration.width = windowWidth;
    configuration.height = windowHeight;
    configuration.sourceRect = {100, 50, windowWidth, windowHeight};
    const auto before = Clock::now();
    const auto made = streams.make(filter, configuration, output);
    if (!made.stream)
        return false;
    made.stream->start([](const auto&) {});
    if (!arrivals.await())
        return false;
    startMilliseconds.push_back(
        std::chrono::duration<double, std::milli>(arrivals.time() - before).count());
    const bool fine = change(window, &arrivals, serverClock, result);
    std::binary_semaphore stopped{0};
    made.stream->stop([&](const auto&) { stopped.release(); });
    stopped.acquire();
    return fine;
}

double percentile(std::vector<double> values, double part) {
    std::ranges::sort(values);
    return values.empty()
               ? 0
               : values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

void printRow(const char* change, const char* client, const Result& result) {
    const auto percent = [&](double part) { return 100 * part / result.wallSeconds; };
    std::printf("| %s | %s | ", change, client);
    if (result.milliseconds.empty()) {
        std::printf("| | |");
    } else {
        std::printf("%.3f | %.3f | %.2f |", percentile(result.milliseconds, 0.5),
                    percentile(result.milliseconds, 0.99), percent(result.clientSeconds));
    }
    std::printf(" %.2f |\n", percent(result.serverSeconds));
}

int run() {
    auto [desktop, error] = testdesktop::TestDesktop::start();
    if (!desktop) {
        std::fprintf(stderr, "bench_capture: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    clockid_t serverClock{};
    if (clock_getcpuclockid(desktop->serverPid(), &serverClock) != 0) {
        std::fprintf(stderr, "bench_capture: the server's processor time cannot be read\n");
        return EXIT_FAILURE;
    }
    std::vector<double> starts;
    std::printf("| change | client | median ms | p99 ms | client, %% of a core | "
                "server, %% of a core |\n|---|---|---|---|---|---|\n");
    for (const bool whole : {true, false}) {
        Result none;
        Result bare;
        Result ours;
        ChangingWindow window(desktop->displayName(), whole);
        for (int round = 0; round < rounds; ++round) {
            if (!change(window, nullptr, serverClock, none) ||
                !measureBareClient(desktop->displayName(), window, serverClock, bare) ||
                !measureStream(desktop->displayName(), window, serverClock, ours, starts)) {
                std::fprintf(stderr, "bench_capture: a change did not arrive\n");
                return EXIT_FAILURE;
            }
        }
        const char* name = whole ? "1600x900" : "2x18";
        printRow(name, "nobody", none);
        printRow(name, "bare client", bare);
        printRow(name, "stream", ours);
        std::printf("| %s | ratio | %.2f | %.2f | | |\n", name,
                    percentile(ours.milliseconds, 0.5) / percentile(bare.milliseconds, 0.5),
                    percentile(ours.milliseconds, 0.99) / percentile(bare.milliseconds, 0.99));
        std::fflush(stdout);
    }
    std::printf("\nFrom `make` to the first frame: median %.2f ms, longest %.2f ms (%zu starts)\n",
                percentile(starts, 0.5), percentile(starts, 1), starts.size());
    return EXIT_SUCCESS;
}

} // namespace
} // namespace lentora

int main() {
    return lentora::run();
}
