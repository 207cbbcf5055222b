// Pictures of the private desktop as its user would see it, with the pointer.
#pragma once

#include "platform/x11/Connection.h"
#include "support/Picture.h"

#include <memory>
#include <string>

namespace lentora::demo {

/// One thread at a time; a connection of its own.
class Camera {
public:
    /// Throws `Failure`.
    explicit Camera(const std::string& display);

    /// The whole screen. Throws `Failure` when the server is gone.
    Picture take(bool withPointer = true) const;

private:
    void drawPointer(Picture& picture) const;

    std::unique_ptr<x11::Connection> server_;
};

/// How much of the screen is different, from 0 to 1. The pictures are of one size.
double difference(const Picture& first, const Picture& second);

} // namespace lentora::demo
