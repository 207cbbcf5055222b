// SIGINT, SIGTERM and SIGHUP as an ordinary call on the main thread.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace lentora::qt {

/// One at a time, on the main thread. While it lives, the first of these signals calls `onQuit`
/// instead of ending the program. Those that the program was started to ignore stay ignored.
class QuitSignals final : public QObject {
    Q_OBJECT

public:
    explicit QuitSignals(std::function<void()> onQuit);
    ~QuitSignals() override;

private:
    void takeSignal();

    const std::function<void()> onQuit_;
    posix::FileDescriptor signals_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace lentora::qt
