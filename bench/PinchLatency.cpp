// From a pinch that moves on the touchpad to the delegate call on the main thread, beside the
// same way into a bare client of the server that has the same grab and does nothing else. Both are
// measured on one test desktop, in turns. Times begin before the movement is injected, so they
// hold the server's own work and the wait for its answer, too.
#include "input/CGEventTapInputBackend.h"
#include "input/DelegateRecorder.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/sim/SimDesktop.h"
#include "platform/x11/Connection.h"
#include "platform/x11/X11EventTap.h"
#include "platform/x11/XInput.h"
#include "support/Log.h"
#include "testdesktop/TestDesktop.h"

#include <QCoreApplication>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

namespace lentora {
namespace {

using Clock = std::chrono::steady_clock;
using testdesktop::Key;

constexpr int rounds = 10;
constexpr int pinchesPerRound = 300;
// A touchpad reports about 125 times a second.
constexpr std::chrono::milliseconds pace{8};

// Moves a pinch on and waits each time until it has arrived.
class Fingers {
public:
    Fingers(testdesktop::InputInjector& hands, std::vector<double>& microseconds)
        : hands_(hands), microseconds_(microseconds) {}

    /// Called by who gets the pinch, as soon as it has it.
    void arrived() {
        arrival_ = Clock::now();
        arrived_.release();
    }

    /// Returns false when a movement was not taken or did not arrive.
    bool pinch() {
        hands_.press(Key::AltL);
        hands_.pinchBegin();
        double scale = 1.2;
        bool fine = move(scale, false);
        for (int i = 0; fine && i < pinchesPerRound; ++i)
            fine = move(scale += 0.001, true);
        hands_.pinchEnd();
        hands_.release(Key::AltL);
        return fine;
    }

private:
    bool move(double scale, bool counts) {
        while (arrived_.try_acquire()) {
        }
        std::this_thread::sleep_for(pace);
        const auto before = Clock::now();
        if (!hands_.pinchUpdate(scale) || !arrived_.try_acquire_for(std::chrono::seconds(5)))
            return false;
        if (counts)
            microseconds_.push_back(
                std::chrono::duration<double, std::micro>(arrival_ - before).count());
        return true;
    }

    testdesktop::InputInjector& hands_;
    std::vector<double>& microseconds_;
    Clock::time_point arrival_;
    std::counting_semaphore<> arrived_{0};
};

// What a bare client does with a pinch: acts on it at once, or hands it to another thread, as a
// program does whose main thread draws windows.
enum class ActsOn { readingThread, secondThread };

// Grabs pinches with Alt and waits for them.
bool measureBareClient(testdesktop::TestDesktop& desktop, ActsOn actsOn,
                       std::vector<double>& microseconds) {
    namespace xi = x11::xi;
    std::string error;
    const auto connection = x11::Connection::open(desktop.displayName(), error);
    if (!connection)
        return false;
    xcb_connection_t* c = connection->get();
    const x11::XcbPtr<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 4), nullptr));
    const std::uint32_t mask = xi::maskOf(XCB_INPUT_GESTURE_PINCH_BEGIN) |
                               xi::maskOf(XCB_INPUT_GESTURE_PINCH_UPDATE) |
                               xi::maskOf(XCB_INPUT_GESTURE_PINCH_END);
    const std::uint32_t modifiers = XCB_MOD_MASK_1;
    const x11::XcbPtr<xcb_input_xi_passive_grab_device_reply_t> grab(
        xcb_input_xi_passive_grab_device_reply(
            c,
            xcb_input_xi_passive_grab_device(
                c, XCB_CURRENT_TIME, connection->root(), XCB_NONE, 0, xi::allMasterDevices, 1, 1,
                XCB_INPUT_GRAB_TYPE_GESTURE_PINCH_BEGIN, XCB_INPUT_GRAB_MODE_22_ASYNC,
                XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER, &mask, &modifiers),
            nullptr));
    Fingers fingers(desktop.injector(), microseconds);
    bool fine = false;
    std::thread hands([&] { fine = fingers.pinch(); });
    std::binary_semaphore handedOver{0};
    std::atomic<bool> over = false;
    std::thread second([&] {
        for (;;) {
            handedOver.acquire();
            if (over)
                return;
            fingers.arrived();
        }
    });
    bool ended = false;
    while (!ended) {
        const x11::XcbPtr<xcb_generic_event_t> event(xcb_wait_for_event(c));
        if (!event)
            break;
        if ((event->response_type & 0x7F) != XCB_GE_GENERIC)
            continue;
        const auto type = reinterpret_cast<const xcb_ge_generic_event_t&>(*event).event_type;
        if (type == XCB_INPUT_GESTURE_PINCH_UPDATE) {
            if (actsOn == ActsOn::readingThread)
                fingers.arrived();
            else
                handedOver.release();
        }
        ended = type == XCB_INPUT_GESTURE_PINCH_END;
    }
    hands.join();
    over = true;
    handedOver.release();
    second.join();
    return fine;
}

bool measureTap(testdesktop::TestDesktop& desktop, std::vector<double>& microseconds) {
    sim::SimTextFiles files;
    sim::SimUnifiedLog unifiedLog;
    posix::PosixWallClock wallClock;
    posix::PosixMediaClock clock;
    posix::ThreadSerialQueue logQueue("lentora.log");
    posix::ThreadExecutor executor(1);
    qt::QtMainQueue mainQueue;
    Log log({files, logQueue, unifiedLog, wallClock, mainQueue}, "/logs");
    Fingers fingers(desktop.injector(), microseconds);
    bool fine = false;
    std::thread hands;
    x11::X11EventTap tap({.display = desktop.displayName(),
                          .started =
                              [&](bool installed) {
                                  mainQueue.post([&, installed] {
                                      if (!installed)
                                          return QCoreApplication::exit();
                                      hands = std::thread([&] { fine = fingers.pinch(); });
                                  });
                              }},
                         log);
    const auto backend = CGEventTapInputBackend::create({tap, mainQueue, executor, clock, log},
                                                        TapLocation::session);
    const auto delegate = std::make_shared<DelegateRecorder>([&](const DelegateCall& call) {
        if (call.operation == "inputDidUpdatePinch")
            fingers.arrived();
        else if (call.operation == "inputDidRelease")
            QCoreApplication::exit();
    });
    backend->setDelegate(delegate);
    backend->start();
    QCoreApplication::exec();
    if (hands.joinable())
        hands.join();
    backend->stop();
    return fine;
}

double percentile(const std::vector<double>& sorted, double part) {
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

int run() {
    auto [desktop, error] = testdesktop::TestDesktop::start();
    if (!desktop) {
        std::fprintf(stderr, "bench_pinch: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    std::vector<double> bare;
    std::vector<double> twoThreads;
    std::vector<double> ours;
    for (int round = 0; round < rounds; ++round) {
        if (!measureBareClient(*desktop, ActsOn::readingThread, bare) ||
            !measureBareClient(*desktop, ActsOn::secondThread, twoThreads) ||
            !measureTap(*desktop, ours)) {
            std::fprintf(stderr, "bench_pinch: a pinch did not arrive\n");
            return EXIT_FAILURE;
        }
    }
    std::ranges::sort(bare);
    std::ranges::sort(twoThreads);
    std::ranges::sort(ours);
    std::printf("| injected pinch to | median µs | p99 µs | p99.9 µs |\n|---|---|---|---|\n");
    const auto row = [](const char* name, const std::vector<double>& v) {
        std::printf("| %s (%zu) | %.1f | %.1f | %.1f |\n", name, v.size(), percentile(v, 0.5),
                    percentile(v, 0.99), percentile(v, 0.999));
    };
    row("a bare client", bare);
    row("a bare client with two threads", twoThreads);
    row("the delegate, main thread", ours);
    const auto ratio = [&](const char* name, const std::vector<double>& other) {
        std::printf("| ratio to %s | %.2f | %.2f | %.2f |\n", name,
                    percentile(ours, 0.5) / percentile(other, 0.5),
                    percentile(ours, 0.99) / percentile(other, 0.99),
                    percentile(ours, 0.999) / percentile(other, 0.999));
    };
    ratio("the bare client", bare);
    ratio("the one with two threads", twoThreads);
    return EXIT_SUCCESS;
}

} // namespace
} // namespace lentora

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    return lentora::run();
}
