#include "platform/qt/QtMainQueue.h"

#include <QMetaObject>
#include <QTimer>

#include <chrono>
#include <utility>

namespace lentora::qt {

void QtMainQueue::post(Work work) {
    QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

// Timers belong to the thread they are started on.
void QtMainQueue::postAfter(double seconds, Work work) {
    const auto delay =
        std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    post([this, delay, work = std::move(work)]() mutable {
        QTimer::singleShot(delay, Qt::PreciseTimer, this, std::move(work));
    });
}

} // namespace lentora::qt
