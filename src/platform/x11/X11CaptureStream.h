// A stream: the thread that a capture session runs on.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/posix/WakeEvent.h"
#include "platform/x11/CaptureSession.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace lentora::x11 {

class X11CaptureStream final : public CaptureStream {
public:
    /// `serverLost` is called on the stream's thread. `setup.wake` is set here.
    X11CaptureStream(CaptureSession::Setup setup, std::function<void()> serverLost);

    /// Stops where that was not done, and waits until the thread has ended; on the stream's own
    /// thread, without waiting.
    ~X11CaptureStream() override;
    X11CaptureStream(const X11CaptureStream&) = delete;
    X11CaptureStream& operator=(const X11CaptureStream&) = delete;

    void start(Done done) override;
    void stop(Done done) override;

    /// How much was sent to the server so far: grows with every request. Any thread.
    std::uint64_t bytesSent() const;

private:
    // Outlives the stream where that is let go of on its own thread.
    struct Shared {
        CaptureSession::Setup setup;
        std::function<void()> serverLost;
        std::atomic<bool> stopping = false;

        std::mutex mutex;
        std::vector<Done> stopped;
        bool hasEnded = true;
    };

    static void run(Shared& shared, const Done& started);
    static void waitForStop(const Shared& shared);

    const std::shared_ptr<Shared> shared_;
    std::thread thread_;
};

} // namespace lentora::x11
