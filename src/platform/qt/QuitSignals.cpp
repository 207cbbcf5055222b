#include "platform/qt/QuitSignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <utility>

namespace lentora::qt {

namespace {

// What the handler may touch.
std::atomic<int> wakeDescriptor{-1};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void handleQuitSignal(int /*signal*/) {
    const int before = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeDescriptor.load(), &one, sizeof one);
    errno = before;
}

void setHandler(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    // A second signal ends a process whose main thread waits for something.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        // Started with nohup, or in the background of a script.
        if (before.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> onQuit)
    : onQuit_(std::move(onQuit)), signals_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      notifier_(std::make_unique<QSocketNotifier>(signals_.get(), QSocketNotifier::Read)) {
    connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { takeSignal(); });
    wakeDescriptor = signals_.get();
    setHandler(handleQuitSignal);
}

QuitSignals::~QuitSignals() {
    setHandler(SIG_DFL);
    wakeDescriptor = -1;
}

void QuitSignals::takeSignal() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(signals_.get(), &count, sizeof count);
    onQuit_();
}

} // namespace lentora::qt
