// Passes a click that was grabbed on to the application as a plain click, while the user goes on
// holding the gate key.
//
// An application takes the modifiers of a click from the state of the server's keyboard, so the
// gate key has to be up while the click goes through. The XTEST extension can let go of a key in
// the name of the very device that holds it: the server then believes it up, and drops the
// physical release as a repetition when it comes. If this program ends half-way, the gate key
// merely counts as up until it is pressed again.
//
// The order on a grabbed press, all in one batch:
//   1. the passive grab of the button is taken away, so that the new press does not run into it;
//   2. the gate keys are let go of, which the application sees;
//   3. the button is let go of, which ends the grab that the press began, and reaches us alone;
//   4. the button is pressed again: this press is the application's, as are the motion and the
//      release that follow;
//   5. the passive grab is put back.
// When the button is really let go of, the gate keys that are still held are pressed again.
#pragma once

#include "input/EventFlags.h"
#include "platform/x11/Connection.h"
#include "platform/x11/ModifierTracker.h"
#include "platform/x11/PassiveGrabs.h"

#include <xcb/xinput.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace lentora::x11 {

/// The tap's thread.
class PlainClicks {
public:
    /// Nothing when the server has no XTEST.
    static std::unique_ptr<PlainClicks> open(const Connection& connection);

    /// Passes a grabbed press on without the modifiers in `taken`.
    void passOn(const xcb_input_button_press_event_t& press, EventFlags taken,
                const ModifierTracker& modifiers, const KeyboardMap& map, PassiveGrabs& grabs);

    /// To be told of every raw key and button event. `sawKey` answers true for the echo of a key
    /// that was let go of or pressed here, which is nothing that the user did.
    bool sawKey(const xcb_input_raw_key_press_event_t& event, bool down);
    void sawButton(const xcb_input_raw_button_press_event_t& event, bool down);

    /// Keys that the user holds are up for the server.
    bool isUnderWay() const { return !lifted_.empty(); }

private:
    struct Key {
        xcb_keycode_t keycode = 0;
        xcb_input_device_id_t device = 0;
        bool operator==(const Key&) const = default;
    };
    struct Change {
        std::uint32_t detail = 0;
        xcb_input_device_id_t device = 0;
        bool down = false;
        bool operator==(const Change&) const = default;
    };
    // What a request of ours brings about. Events carry the number of the last request that the
    // server had carried out for us, so that an echo is told from what the user does by it.
    struct Echo {
        Change change;
        unsigned sequence = 0;
    };

    PlainClicks(const Connection& connection, std::uint8_t firstInputEvent)
        : connection_(connection), firstInputEvent_(firstInputEvent) {}

    void endClick();
    void fakeKey(const Key& key, bool down);
    void fakeButton(const Change& change);
    unsigned fake(std::uint8_t event, std::uint32_t detail, xcb_input_device_id_t device);
    static bool takeEcho(std::vector<Echo>& echoes, const Change& change, unsigned sequence);
    static bool isExpected(const std::vector<Echo>& echoes, const Change& change);

    const Connection& connection_;
    const std::uint8_t firstInputEvent_;
    // Which device each key was last pressed on.
    std::array<xcb_input_device_id_t, 256> deviceOfKey_{};
    // The last physical button press: a grabbed press tells its button after the user's mapping,
    // XTEST wants the one before it.
    Change lastPress_;
    // The keys let go of for the click that is under way, and its button.
    std::vector<Key> lifted_;
    Change clickRelease_;
    std::vector<Echo> keyEchoes_;
    std::vector<Echo> buttonEchoes_;
};

} // namespace lentora::x11
