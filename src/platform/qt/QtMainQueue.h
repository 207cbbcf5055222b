// The main queue on Qt's event loop.
#pragma once

#include "platform/MainQueue.h"

#include <QObject>

namespace lentora::qt {

/// Made on the main thread, after the application object; ends on it, before the application.
class QtMainQueue final : public QObject, public MainQueue {
    Q_OBJECT

public:
    void post(Work work) override;
    void postAfter(double seconds, Work work) override;
};

} // namespace lentora::qt
