// Passes a click that was grabbed on to the application as a plain click, while the user goes on
// holding the gate key.
//
// An application takes the modifiers of a click from the state of the server's keyboard, so the
// gate key has to be up while the click goes through. It is let go of in the name of the device
// that holds it (FakeInput). If this program ends half-way, the gate key merely counts as up until
// it is pressed again.
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
#include "platform/x11/FakeInput.h"
#include "platform/x11/ModifierTracker.h"
#include "platform/x11/PassiveGrabs.h"

#include <xcb/xinput.h>

#include <vector>

namespace lentora::x11 {

/// The tap's thread.
class PlainClicks {
public:
    PlainClicks(const Connection& connection, FakeInput& fakes)
        : connection_(connection), fakes_(fakes) {}

    /// Passes a grabbed press on without the modifiers in `taken`.
    void passOn(const xcb_input_button_press_event_t& press, EventFlags taken,
                const ModifierTracker& modifiers, const KeyboardMap& map, PassiveGrabs& grabs);

    /// To be told of every raw key and button event that the user caused.
    void sawKey(const FakeInput::Change& change);
    void sawButton(const FakeInput::Change& change);

    /// Keys that the user holds are up for the server.
    bool isUnderWay() const { return !lifted_.empty(); }

private:
    void endClick();

    const Connection& connection_;
    FakeInput& fakes_;
    // The last physical button press: a grabbed press tells its button after the user's mapping,
    // XTEST wants the one before it.
    FakeInput::Change lastPress_;
    // The releases of the keys let go of for the click that is under way, and of its button.
    std::vector<FakeInput::Change> lifted_;
    FakeInput::Change clickRelease_;
};

} // namespace lentora::x11
