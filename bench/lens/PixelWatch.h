// Looks at the screen from outside, in the same way whoever draws there.
#pragma once

#include "lens/Scene.h"
#include "platform/x11/Connection.h"

#include <xcb/damage.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lentora::bench {

using Clock = std::chrono::steady_clock;

/// Whether two colours are the same but for what mixing and rounding does.
bool isNear(std::uint32_t one, std::uint32_t other);

/// A connection of its own that reads what is on the screen, with everything that covers it. One
/// thread.
class PixelWatch {
public:
    explicit PixelWatch(const std::string& display);

    /// Row by row, 0xRRGGBB.
    std::vector<std::uint32_t> read(const Area& area) const;
    std::uint32_t read(const Spot& spot) const;

    xcb_window_t root() const { return connection_->root(); }

    /// From now on, until `end`, awaits changes of one pixel. It wakes up when something is drawn
    /// into `window` or a window inside it, and then reads the pixel from the screen.
    void begin(xcb_window_t window, const Spot& spot);
    void end();

    /// When the pixel was first read as `color` (or, for none, as anything but what it was at
    /// `begin`), or nothing by `limit`.
    std::optional<Clock::time_point> await(std::optional<std::uint32_t> color,
                                           Clock::time_point limit);

private:
    bool awaitDamage(Clock::time_point limit) const;

    std::unique_ptr<x11::Connection> connection_;
    std::uint8_t damageNotify_ = 0;
    xcb_damage_damage_t damage_ = XCB_NONE;
    Spot spot_;
    std::uint32_t initial_ = 0;
};

} // namespace lentora::bench
