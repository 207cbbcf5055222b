#include "testdesktop/DeviceConnection.h"

#include <xorg/xf86-input-inputtest-protocol.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

namespace lentora::testdesktop {
namespace {

// Far beyond anything a healthy server needs, also on a machine that is busy compiling.
constexpr int answerLimitMilliseconds = 10000;

// An answer takes well under a millisecond; a nudge that was not needed does no harm.
constexpr int nudgeAfterMilliseconds = 300;

} // namespace

std::unique_ptr<DeviceConnection> DeviceConnection::open(const std::string& socketPath,
                                                         std::string& error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path) {
        error = "socket path too long: " + socketPath;
        return nullptr;
    }
    std::memcpy(address.sun_path, socketPath.data(), socketPath.size());
    posix::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket ||
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        error = "cannot connect to input device " + socketPath + ": " + std::strerror(errno);
        return nullptr;
    }
    std::unique_ptr<DeviceConnection> device(new DeviceConnection(std::move(socket)));
    return device->agreeOnVersion(error) ? std::move(device) : nullptr;
}

bool DeviceConnection::agreeOnVersion(std::string& error) {
    xf86ITEventClientVersion ours{};
    ours.header.length = sizeof ours;
    ours.header.type = XF86IT_EVENT_CLIENT_VERSION;
    ours.major = XF86IT_PROTOCOL_VERSION_MAJOR;
    ours.minor = XF86IT_PROTOCOL_VERSION_MINOR;
    xf86ITResponseServerVersion theirs{};
    if (!send(&ours, sizeof ours) || !receive(&theirs, sizeof theirs) ||
        theirs.header.type != XF86IT_RESPONSE_SERVER_VERSION) {
        error = "the server's input driver does not answer";
        return false;
    }
    if (theirs.major != ours.major || theirs.minor < ours.minor) {
        error = "the server's input driver speaks version " + std::to_string(theirs.major) + "." +
                std::to_string(theirs.minor) + ", needed is " + std::to_string(ours.major) + "." +
                std::to_string(ours.minor);
        return false;
    }
    return true;
}

bool DeviceConnection::postBytes(const void* event, std::size_t size) {
    xf86ITEventWaitForSync sync{};
    sync.header.length = sizeof sync;
    sync.header.type = XF86IT_EVENT_WAIT_FOR_SYNC;
    std::string message(static_cast<const char*>(event), size);
    message.append(reinterpret_cast<const char*>(&sync), sizeof sync);
    return sendBytes(message.data(), message.size());
}

bool DeviceConnection::sendBytes(const void* event, std::size_t size) {
    usable_ = usable_ && send(event, size);
    return usable_;
}

bool DeviceConnection::answered() {
    pollfd item{socket_.get(), POLLIN, 0};
    return ::poll(&item, 1, nudgeAfterMilliseconds) > 0;
}

bool DeviceConnection::awaitSync() {
    // A late answer would be taken for the answer to the next event, so a connection that failed
    // once is not used again. It stays open: the driver would spin on a closed one.
    xf86ITResponseSyncFinished done{};
    usable_ =
        usable_ && receive(&done, sizeof done) && done.header.type == XF86IT_RESPONSE_SYNC_FINISHED;
    return usable_;
}

bool DeviceConnection::send(const void* data, std::size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t count = ::send(socket_.get(), next, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool DeviceConnection::receive(void* data, std::size_t size) {
    char* next = static_cast<char*>(data);
    while (size > 0) {
        pollfd item{socket_.get(), POLLIN, 0};
        const int ready = ::poll(&item, 1, answerLimitMilliseconds);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;
        const ssize_t count = ::recv(socket_.get(), next, size, 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace lentora::testdesktop
