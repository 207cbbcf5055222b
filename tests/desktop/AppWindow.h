// Another program on the test desktop: a focused window that writes down what input it gets.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/xinput.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lentora::test {

class AppWindow {
public:
    /// By which protocol the program takes keys, clicks and motion. It takes pinches in any case.
    enum class Protocol { core, xinput2 };

    /// Maps a window over the whole screen and focuses it.
    AppWindow(const std::string& display, Protocol protocol);

    /// What the window got since the last call, once the server has nothing left to send: "key 38
    /// down", "button 1 up", "motion", "pinch begin"; with " state N" where modifiers were held.
    std::vector<std::string> takeEvents();

    /// Blocks until an event has come; false when that takes too long.
    bool awaitEvent();

    /// Takes every key device from the server's keyboard and gives it back, so that the server
    /// forgets which keys are held. False where the server refuses.
    bool forgetHeldKeys();

    const x11::Connection& connection() const { return *connection_; }

private:
    void note(const xcb_generic_event_t& event);
    void noteInput(const xcb_ge_generic_event_t& event);
    void note(const std::string& what, unsigned state);

    std::unique_ptr<x11::Connection> connection_;
    std::uint8_t xinputOpcode_ = 0;
    std::vector<std::string> events_;
};

} // namespace lentora::test
