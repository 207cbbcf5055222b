#include "demo/Waiting.h"

#include <algorithm>
#include <csignal>
#include <thread>

namespace lentora::demo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds lookInterval{10};

volatile std::sig_atomic_t isInterrupted = 0;

void stopIfInterrupted() {
    if (isInterrupted != 0)
        throw Interrupted();
}

} // namespace

void endWaitsOnSignals() {
    struct sigaction action {};
    action.sa_handler = [](int) { isInterrupted = 1; };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}

void pause(std::chrono::milliseconds time) {
    const auto end = Clock::now() + time;
    for (auto now = Clock::now(); now < end; now = Clock::now()) {
        stopIfInterrupted();
        std::this_thread::sleep_for(std::min<Clock::duration>(end - now, lookInterval));
    }
    stopIfInterrupted();
}

void await(const std::function<bool()>& condition, const std::string& complaint,
           std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() >= end)
            throw Failure(complaint);
        pause(lookInterval);
    }
}

} // namespace lentora::demo
