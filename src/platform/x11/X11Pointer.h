// Where the pointer is.
#pragma once

#include "platform/Displays.h"
#include "platform/x11/Connection.h"
#include "platform/x11/X11Desktop.h"

#include <memory>
#include <mutex>
#include <string>

namespace lentora::x11 {

/// Asks the server each time: X tells of movements only to those who are under the pointer, or as
/// steps of the device. A connection of its own, and a mutex around it, keep the question apart
/// from everything else; it waits for one round trip.
class X11Pointer final : public Pointer {
public:
    /// Nothing, with the reason in `error`, where no server answers. `desktop` outlives it.
    static std::unique_ptr<X11Pointer> open(const std::string& display, const X11Desktop& desktop,
                                            std::string& error);

    Point location() const override;

private:
    X11Pointer(std::unique_ptr<Connection> connection, const X11Desktop& desktop)
        : connection_(std::move(connection)), desktop_(desktop) {}

    const std::unique_ptr<Connection> connection_;
    const X11Desktop& desktop_;
    mutable std::mutex mutex_;
    // Root coordinates.
    mutable int x_ = 0;
    mutable int y_ = 0;
};

} // namespace lentora::x11
