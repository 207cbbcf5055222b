// Lets the main thread's event loop wait for file descriptors of others.
#pragma once

#include <functional>
#include <memory>

namespace lentora::posix {

/// Ends with the object.
class DescriptorWatch {
public:
    virtual ~DescriptorWatch() = default;
};

/// Main thread.
class DescriptorWatches {
public:
    virtual ~DescriptorWatches() = default;

    /// Calls `readable` from the event loop whenever there is something to read, as long as there
    /// is. The descriptor stays open for as long as it is watched.
    virtual std::unique_ptr<DescriptorWatch> watch(int descriptor,
                                                   std::function<void()> readable) = 0;
};

} // namespace lentora::posix
