#include "platform/qt/QtDescriptorWatches.h"

#include <QSocketNotifier>

#include <utility>

namespace lentora::qt {

namespace {

class Watch final : public posix::DescriptorWatch {
public:
    Watch(int descriptor, std::function<void()> readable)
        : notifier_(descriptor, QSocketNotifier::Read) {
        QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, std::move(readable));
    }

private:
    QSocketNotifier notifier_;
};

} // namespace

std::unique_ptr<posix::DescriptorWatch> QtDescriptorWatches::watch(int descriptor,
                                                                   std::function<void()> readable) {
    return std::make_unique<Watch>(descriptor, std::move(readable));
}

} // namespace lentora::qt
