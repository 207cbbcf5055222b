#include "testdesktop/ServerProcess.h"

#include "testdesktop/Executables.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace lentora::testdesktop {
namespace {

using namespace std::chrono_literals;

constexpr auto politeLimit = 3000ms;

/// The server gets its own small environment: nothing of the user's session may change what it
/// does, and with a system bus that cannot be reached it never asks the login manager for control
/// of the session it happens to be started from.
const char* const serverEnvironment[] = {
    "PATH=/usr/local/bin:/usr/bin:/bin",
    "LC_ALL=C",
    "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent",
    nullptr,
};

/// Runs the server under setpriv; returns 0 and the pid, or an errno value.
int spawnServer(const std::string& setpriv, const ServerCommand& command, int displayEnd,
                pid_t& pid) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, displayEnd, ServerProcess::displayDescriptor);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, command.outputFile.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawn_file_actions_addclosefrom_np(&actions, ServerProcess::displayDescriptor + 1);

    // A session of its own keeps a Ctrl-C at our terminal away from the server: whoever started
    // it decides when it ends.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);

    std::vector<std::string> words{setpriv, "--pdeathsig", "KILL", "--", command.program};
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    const int failure = ::posix_spawn(&pid, setpriv.c_str(), &actions, &attributes, argv.data(),
                                      const_cast<char* const*>(serverEnvironment));
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return failure;
}

/// Waits for the end of a child without reaping it, so that its number is not given away.
void waitForEnd(pid_t pid) {
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
}

} // namespace

std::unique_ptr<ServerProcess> ServerProcess::start(const ServerCommand& command,
                                                    std::string& error) {
    if (findExecutable("setpriv").empty()) {
        error = "setpriv not found; install util-linux";
        return nullptr;
    }
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        error = std::string("cannot make a pipe: ") + std::strerror(errno);
        return nullptr;
    }
    std::unique_ptr<ServerProcess> server(new ServerProcess());
    server->readyEnd_.reset(ends[0]);

    // The keeper must never run a signal handler of the program it lives in.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    server->keeper_ =
        std::thread([self = server.get(), command, end = posix::FileDescriptor(ends[1])]() mutable {
            self->keep(command, std::move(end));
        });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);

    std::unique_lock lock(server->mutex_);
    server->changed_.wait(lock, [&] { return server->spawnDone_; });
    if (server->spawnError_ != 0) {
        error = "cannot start " + command.program + ": " + std::strerror(server->spawnError_);
        lock.unlock();
        return nullptr;
    }
    return server;
}

void ServerProcess::keep(const ServerCommand& command, posix::FileDescriptor displayEnd) {
    pid_t pid = -1;
    const int failure = spawnServer(findExecutable("setpriv"), command, displayEnd.get(), pid);
    displayEnd.reset();
    reportSpawn(pid, failure);
    if (failure != 0)
        return;
    waitForEnd(pid);
    const std::scoped_lock lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

void ServerProcess::reportSpawn(pid_t pid, int failure) {
    const std::scoped_lock lock(mutex_);
    pid_ = pid;
    spawnError_ = failure;
    ended_ = failure != 0;
    spawnDone_ = true;
    changed_.notify_all();
}

ServerProcess::~ServerProcess() {
    if (!signalAndWait(SIGTERM, politeLimit)) {
        // Nothing survives SIGKILL, so this wait ends too.
        signalAndWait(SIGKILL, std::chrono::milliseconds::max());
    }
    keeper_.join();
    if (spawnError_ == 0) {
        while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

bool ServerProcess::signalAndWait(int signal, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (!ended_)
        ::kill(pid_, signal);
    if (limit == std::chrono::milliseconds::max()) {
        changed_.wait(lock, [this] { return ended_; });
        return true;
    }
    return changed_.wait_for(lock, limit, [this] { return ended_; });
}

bool ServerProcess::waitUntilReady(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    // The server writes its display number and a newline, or closes the pipe by ending.
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd item{readyEnd_.get(), POLLIN, 0};
        const int ready = ::poll(&item, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready <= 0)
            continue;
        char text[16];
        const ssize_t count = ::read(readyEnd_.get(), text, sizeof text);
        if (count == 0) {
            // The server is on its way out; its last words are complete when it has gone.
            std::unique_lock lock(mutex_);
            changed_.wait_until(lock, deadline, [this] { return ended_; });
            return false;
        }
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0 && std::memchr(text, '\n', static_cast<std::size_t>(count)) != nullptr)
            return true;
    }
}

bool ServerProcess::running() const {
    // Asked of the kernel: the keeper may not have had its turn yet. A server that has ended keeps
    // its number until the destructor, so this is never about somebody else.
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == 0;
}

} // namespace lentora::testdesktop
