// A connection to an X server and what every user of one needs.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace lentora::x11 {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

/// Owner of what xcb allocates: events, replies, errors.
template <typename T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

/// One thread at a time.
class Connection {
public:
    /// Connects to `display` (":0"; $DISPLAY where it is empty). Nothing, with the reason in
    /// `error`, where no server answers. Blocks until the server has answered.
    static std::unique_ptr<Connection> open(const std::string& display, std::string& error);

    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    xcb_connection_t* get() const { return connection_; }
    xcb_window_t root() const { return root_; }
    int fileDescriptor() const { return xcb_get_file_descriptor(connection_); }

    /// The server is gone; nothing on this connection will work again.
    bool isLost() const { return xcb_connection_has_error(connection_) != 0; }

    struct Extension {
        std::uint8_t majorOpcode = 0;
        std::uint8_t firstEvent = 0;
        std::uint8_t firstError = 0;
    };

    /// Nothing when the server does not have it. The first call for an extension waits for the
    /// server.
    std::optional<Extension> extension(xcb_extension_t& id) const;

private:
    Connection(xcb_connection_t* connection, xcb_window_t root)
        : connection_(connection), root_(root) {}

    xcb_connection_t* connection_;
    xcb_window_t root_;
};

} // namespace lentora::x11
