// File descriptors on Qt's event loop.
#pragma once

#include "platform/posix/DescriptorWatch.h"

#include <functional>
#include <memory>

namespace lentora::qt {

/// The application object exists.
class QtDescriptorWatches final : public posix::DescriptorWatches {
public:
    std::unique_ptr<posix::DescriptorWatch> watch(int descriptor,
                                                  std::function<void()> readable) override;
};

} // namespace lentora::qt
