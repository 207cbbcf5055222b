#pragma once

#include "platform/posix/FileDescriptor.h"

#include <cstddef>
#include <memory>
#include <string>

namespace lentora::testdesktop {

/// The connection to one emulated input device of the server.
///
/// It is made once and kept for the server's life: the driver serves the first client that connects
/// to a device and never takes another one after it.
class DeviceConnection {
public:
    /// Connects to the device's socket and agrees on the protocol version.
    /// Returns nothing and says why in `error` if that fails.
    static std::unique_ptr<DeviceConnection> open(const std::string& socketPath,
                                                  std::string& error);

    DeviceConnection(const DeviceConnection&) = delete;
    DeviceConnection& operator=(const DeviceConnection&) = delete;

    /// Sends one event message (a struct of the driver's protocol, header filled in) and waits
    /// until the server has processed it and has nothing left to do. False if the server is gone
    /// or does not answer; the connection is of no use afterwards.
    template <typename Event>
    bool post(const Event& event) {
        return postBytes(&event, sizeof event) && awaitSync();
    }

    /// The same for an event that the server may swallow before it gets into its queue. The driver
    /// answers only after something has gone through that queue, so if no answer comes, `nudge` is
    /// sent to get it moving: an event that the server queues and then ignores.
    template <typename Event>
    bool post(const Event& event, const Event& nudge) {
        return postBytes(&event, sizeof event) && (answered() || sendBytes(&nudge, sizeof nudge)) &&
               awaitSync();
    }

private:
    explicit DeviceConnection(posix::FileDescriptor socket) : socket_(std::move(socket)) {}

    bool agreeOnVersion(std::string& error);
    bool postBytes(const void* event, std::size_t size);
    bool sendBytes(const void* event, std::size_t size);
    bool answered();
    bool awaitSync();
    bool send(const void* data, std::size_t size);
    bool receive(void* data, std::size_t size);

    posix::FileDescriptor socket_;
    bool usable_ = true;
};

} // namespace lentora::testdesktop
