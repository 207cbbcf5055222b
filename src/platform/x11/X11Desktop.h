// The desktop as other threads ask for it: the thread "lentora.windows", which keeps the windows
// and monitors in mind, and the last snapshot of them.
//
// The connection and all that is known belong to that thread. Others get snapshots, which do not
// change. One mutex guards the last snapshot and the list of who waits for the next one; it is
// held while these are touched, and never while the server is asked or an answer is given.
#pragma once

#include "platform/posix/FileDescriptor.h"
#include "platform/x11/DesktopSnapshot.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace lentora::x11 {

class WindowSession;

struct X11DesktopOptions {
    /// ":0"; empty for $DISPLAY.
    std::string display = {};
    /// Called on the desktop's thread when the server goes away.
    std::function<void()> serverLost = {};
    /// How long `current` waits for a server that does not answer.
    std::chrono::milliseconds patience{1000};
};

class X11Desktop {
public:
    using Snapshot = std::shared_ptr<const DesktopSnapshot>;
    using Answer = std::function<void(Snapshot)>;

    /// Connects and reads the whole desktop before it returns, which takes some milliseconds.
    /// Nothing, with the reason in `error`, where no server answers.
    static std::unique_ptr<X11Desktop> open(X11DesktopOptions options, std::string& error);

    /// Ends the thread. Who waits in `current` gets null; answers that are still due are dropped.
    ~X11Desktop();
    X11Desktop(const X11Desktop&) = delete;
    X11Desktop& operator=(const X11Desktop&) = delete;

    /// The desktop after everything that happened before the call. Waits for a round trip to the
    /// server, or a few when much is new. Null when the server is gone or does not answer in time.
    /// Any thread, and from within an answer as well.
    Snapshot current();

    /// Likewise, without waiting: `answer` is called on the desktop's thread. It may be null.
    void fetch(Answer answer);

    /// The snapshot made last, never null. Monitors and scale in it are kept up to date; windows
    /// are as they were when somebody asked. Any thread; waits for nothing.
    Snapshot last() const;

    /// The generation of the window that has this number now; nothing when that is none that is
    /// shown. Waits as `current` does.
    std::optional<std::uint64_t> generationOf(WindowId id);

    /// How often the thread has waited for the server so far. Any thread.
    int roundTrips() const { return roundTrips_; }

private:
    X11Desktop(X11DesktopOptions options, std::unique_ptr<WindowSession> session, Snapshot first);

    void run();
    bool serve();
    Snapshot refresh();
    void wait();
    void wakeUp();

    const X11DesktopOptions options_;
    const std::unique_ptr<WindowSession> session_;
    const posix::FileDescriptor wake_;
    std::atomic<bool> stopping_ = false;
    std::atomic<int> roundTrips_ = 0;

    mutable std::mutex mutex_;
    std::condition_variable served_;
    Snapshot last_;
    std::uint64_t asked_ = 0;
    std::uint64_t answered_ = 0;
    std::vector<Answer> waiting_;
    bool ended_ = false;

    std::thread thread_;
};

} // namespace lentora::x11
