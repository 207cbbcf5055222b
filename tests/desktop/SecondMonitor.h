// A monitor that is plugged into the second output of a test desktop.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/randr.h>

#include <cstdint>
#include <vector>

namespace lentora::test {

/// Every call has been carried out by the server when it returns.
class SecondMonitor {
public:
    /// `connection` outlives it.
    explicit SecondMonitor(const x11::Connection& connection) : connection_(connection) {}

    static constexpr int width = 1280;
    static constexpr int height = 720;

    /// Plugs it in and puts it at a place on the root window, with that many refreshes a second.
    /// Once.
    void plug(int x, int y, int refreshRate = 60);
    void unplug();
    void makePrimary();

    /// Puts the first monitor at another place.
    void moveFirst(int x, int y);

private:
    xcb_randr_mode_t makeMode(int refreshRate) const;
    void setCrtc(xcb_randr_crtc_t crtc, int x, int y, xcb_randr_mode_t mode,
                 const std::vector<xcb_randr_output_t>& outputs) const;

    const x11::Connection& connection_;
    xcb_randr_crtc_t firstCrtc_ = 0;
    xcb_randr_crtc_t secondCrtc_ = 0;
    xcb_randr_output_t firstOutput_ = 0;
    xcb_randr_output_t secondOutput_ = 0;
};

} // namespace lentora::test
