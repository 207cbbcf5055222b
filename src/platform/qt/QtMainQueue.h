// The main queue on Qt's event loop.
#pragma once

#include "platform/MainQueue.h"
#include "platform/posix/FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>

#include <deque>
#include <mutex>

namespace lentora::qt {

/// Made on the main thread, after the application object; ends on it, before the application.
/// Threads that post never enter Qt: they put their work into a list and wake the event loop.
class QtMainQueue final : public QObject, public MainQueue {
    Q_OBJECT

public:
    QtMainQueue();
    /// Drops what has not run.
    ~QtMainQueue() override;
    QtMainQueue(const QtMainQueue&) = delete;
    QtMainQueue& operator=(const QtMainQueue&) = delete;

    void post(Work work) override;
    void postAfter(double seconds, Work work) override;

private:
    void wake();
    void runPosted();

    const posix::FileDescriptor wake_;
    QSocketNotifier notifier_;
    std::mutex mutex_;
    std::deque<Work> posted_;
};

} // namespace lentora::qt
