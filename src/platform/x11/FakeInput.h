// Input in the user's name, by the XTEST extension: keys and buttons of the very devices that the
// user holds. The server then believes that the device did it, so a key that is let go of this way
// is up although the user holds it, and the physical release is dropped as a repetition.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/xinput.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// The tap's thread. Requests are not flushed.
class FakeInput {
public:
    /// A key or button of a device that goes down or up.
    struct Change {
        std::uint32_t detail = 0;
        xcb_input_device_id_t device = 0;
        bool down = false;
        bool operator==(const Change&) const = default;
    };

    /// Nothing when the server has no XTEST.
    static std::optional<FakeInput> open(const Connection& connection);

    void key(const Change& change);
    void button(const Change& change);

    /// To be told of every raw event, before others are. True for the echo of what was done here,
    /// which is nothing that the user did.
    bool sawKey(const Change& change, unsigned sequence);
    bool sawButton(const Change& change, unsigned sequence);

    /// What was done here has not come back yet.
    bool isExpectedKey(const Change& change) const;
    bool isExpectedButton(const Change& change) const;

    /// The device that the key was last pressed on by the user; 0 when that was not seen.
    xcb_input_device_id_t deviceOfKey(xcb_keycode_t keycode) const { return devices_[keycode]; }

private:
    // What a request of ours brings about. Events carry the number of the last request that the
    // server had carried out for us, so that an echo is told from what the user does by it.
    struct Echo {
        Change change;
        unsigned sequence = 0;
    };

    FakeInput(const Connection& connection, std::uint8_t firstInputEvent)
        : connection_(connection), firstInputEvent_(firstInputEvent) {}

    unsigned send(std::uint8_t event, const Change& change);
    static bool takeEcho(std::vector<Echo>& echoes, const Change& change, unsigned sequence);

    const Connection& connection_;
    const std::uint8_t firstInputEvent_;
    std::array<xcb_input_device_id_t, 256> devices_{};
    std::vector<Echo> keyEchoes_;
    std::vector<Echo> buttonEchoes_;
};

} // namespace lentora::x11
