#include "platform/qt/QtMainQueue.h"

#include <QTimer>

#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <utility>

namespace lentora::qt {

QtMainQueue::QtMainQueue()
    : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      notifier_(wake_.get(), QSocketNotifier::Read) {
    connect(&notifier_, &QSocketNotifier::activated, this, [this] { runPosted(); });
}

QtMainQueue::~QtMainQueue() {
    // Work may post as it is let go of.
    while (!posted_.empty())
        std::exchange(posted_, {}).clear();
}

void QtMainQueue::post(Work work) {
    bool wasEmpty = false;
    {
        const std::lock_guard lock(mutex_);
        wasEmpty = posted_.empty();
        posted_.push_back(std::move(work));
    }
    if (wasEmpty)
        wake();
}

void QtMainQueue::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wake_.get(), &one, sizeof one);
}

// Timers belong to the thread they are started on.
void QtMainQueue::postAfter(double seconds, Work work) {
    const auto delay =
        std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    post([this, delay, work = std::move(work)]() mutable {
        QTimer::singleShot(delay, Qt::PreciseTimer, this, std::move(work));
    });
}

// What work posts follows without a turn of the event loop between, up to a number that leaves the
// loop's other sources their turn. Work may run an event loop of its own (a dialog), in which the
// rest has to go on: while there is more, the loop is kept awake.
void QtMainQueue::runPosted() {
    constexpr int batch = 16;
    for (int i = 0; i < batch; ++i) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = ::read(wake_.get(), &count, sizeof count);
        Work work;
        bool more = false;
        {
            const std::lock_guard lock(mutex_);
            if (posted_.empty())
                return;
            work = std::move(posted_.front());
            posted_.pop_front();
            more = !posted_.empty();
        }
        if (more)
            wake();
        work();
    }
}

} // namespace lentora::qt
