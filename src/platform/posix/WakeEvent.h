// Wakes a thread that waits for file descriptors.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace lentora::posix {

class WakeEvent {
public:
    WakeEvent() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    /// Readable after a `signal`, until the next `clear`.
    int fileDescriptor() const { return event_.get(); }

    /// Any thread.
    void signal() const {
        const std::uint64_t one = 1;
        // Full only when nobody has cleared it for a very long time: it is readable then, too.
        [[maybe_unused]] const ssize_t written = ::write(event_.get(), &one, sizeof one);
    }

    void clear() const {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = ::read(event_.get(), &count, sizeof count);
    }

private:
    FileDescriptor event_;
};

} // namespace lentora::posix
