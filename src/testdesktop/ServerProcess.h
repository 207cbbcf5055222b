#pragma once

#include "platform/posix/FileDescriptor.h"

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lentora::testdesktop {

/// What to run as the X server, and where its words go.
struct ServerCommand {
    std::string program;                ///< absolute path of the Xorg binary
    std::vector<std::string> arguments; ///< without the program itself
    std::string outputFile;             ///< absolute path; gets standard output and error
};

/// One running X server that cannot outlive this process.
///
/// A keeper thread of its own starts the server and stays until the server has ended. It has to be
/// that way: the kernel kills the server (by the parent-death signal) when the *thread* that
/// started it is gone, so the thread that happens to call start() must not be the one.
class ServerProcess {
public:
    /// The descriptor number under which the server finds the pipe for its -displayfd.
    static constexpr int displayDescriptor = 3;

    /// Starts the server. Returns nothing and says why in `error` if it could not be started at
    /// all; a server that starts and then gives up shows in waitUntilReady().
    static std::unique_ptr<ServerProcess> start(const ServerCommand& command, std::string& error);

    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /// Ends the server: SIGTERM first, SIGKILL if that takes too long; leaves no zombie.
    ~ServerProcess();

    /// Waits until the server accepts clients. False: it ended or the time is up.
    bool waitUntilReady(std::chrono::milliseconds limit);

    /// The server's process number; it stays reserved until this object is gone.
    pid_t pid() const { return pid_; }

    /// Whether the server is still there. Callable from any thread.
    bool running() const;

private:
    ServerProcess() = default;

    void keep(const ServerCommand& command, posix::FileDescriptor displayEnd);
    void reportSpawn(pid_t pid, int failure);
    bool signalAndWait(int signal, std::chrono::milliseconds limit);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool spawnDone_ = false;
    int spawnError_ = 0;
    bool ended_ = false;
    pid_t pid_ = -1;
    posix::FileDescriptor readyEnd_;
    std::thread keeper_;
};

} // namespace lentora::testdesktop
