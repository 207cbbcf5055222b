#include "platform/x11/X11CaptureStream.h"

#include <poll.h>
#include <pthread.h>

#include <utility>

namespace lentora::x11 {

X11CaptureStream::X11CaptureStream(CaptureSession::Setup setup, std::function<void()> serverLost)
    : shared_(std::make_shared<Shared>()) {
    shared_->setup = std::move(setup);
    shared_->setup.wake = std::make_shared<const posix::WakeEvent>();
    shared_->serverLost = std::move(serverLost);
}

X11CaptureStream::~X11CaptureStream() {
    if (!thread_.joinable())
        return;
    shared_->stopping = true;
    shared_->setup.wake->signal();
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
}

void X11CaptureStream::start(Done done) {
    shared_->hasEnded = false;
    thread_ = std::thread([shared = shared_, done = std::move(done)] { run(*shared, done); });
    pthread_setname_np(thread_.native_handle(), "lentora.capture");
}

void X11CaptureStream::stop(Done done) {
    {
        const std::lock_guard lock(shared_->mutex);
        if (!shared_->hasEnded) {
            shared_->stopped.push_back(std::move(done));
            shared_->stopping = true;
            shared_->setup.wake->signal();
            return;
        }
    }
    done(std::nullopt);
}

void X11CaptureStream::run(Shared& shared, const Done& started) {
    bool hasStarted = false;
    {
        CaptureSession session(shared.setup);
        const auto end = session.run(shared.stopping, [&] {
            hasStarted = true;
            started(std::nullopt);
        });
        if (end == CaptureSession::End::serverLost && shared.serverLost)
            shared.serverLost();
    }
    if (!hasStarted)
        started(shared.stopping ? "stopped before it ran" : "the X server went away");
    waitForStop(shared);

    std::vector<Done> stopped;
    {
        const std::lock_guard lock(shared.mutex);
        shared.hasEnded = true;
        stopped = std::exchange(shared.stopped, {});
        // Surfaces that are held keep it from here on.
        shared.setup.server.reset();
    }
    for (const Done& done : stopped)
        done(std::nullopt);
}

void X11CaptureStream::waitForStop(const Shared& shared) {
    while (!shared.stopping) {
        pollfd source{shared.setup.wake->fileDescriptor(), POLLIN, 0};
        ::poll(&source, 1, -1);
        shared.setup.wake->clear();
    }
}

std::uint64_t X11CaptureStream::bytesSent() const {
    const std::lock_guard lock(shared_->mutex);
    return shared_->setup.server ? xcb_total_written(shared_->setup.server->get()) : 0;
}

} // namespace lentora::x11
