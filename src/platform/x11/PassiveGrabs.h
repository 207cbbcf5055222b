// The passive grabs that are installed on the server, kept in step with a plan.
#pragma once

#include "platform/x11/Connection.h"
#include "platform/x11/GrabPlan.h"

#include <xcb/xcbext.h>
#include <xcb/xinput.h>

#include <deque>
#include <set>
#include <vector>

namespace lentora::x11 {

/// Every grab is asynchronous: the server holds nothing back while we think, and a program of
/// ours that is stopped costs the user nothing but the grabbed events themselves. The server drops
/// all of them when the connection ends, however it ends. The tap's thread.
class PassiveGrabs {
public:
    /// `hasGestures`: the server knows of pinches; without, grabs of them are left out.
    PassiveGrabs(const Connection& connection, bool hasGestures)
        : connection_(connection), hasGestures_(hasGestures) {}

    /// Sends what changes from the grabs that are installed to those of `plan`. Does not wait.
    void install(const std::set<Grab>& plan);

    /// Removes and installs again every grab of a button: what was sent in between reached
    /// applications.
    void withoutButtonGrabs(std::uint32_t button, const auto& send) {
        const std::set<Grab> grabs = installedButtonGrabs(button);
        ungrab(grabs);
        send();
        grab(grabs);
    }

    /// To be told of every error that the server sends.
    void sawError(const xcb_generic_error_t& error);

    /// Takes the answers that have arrived, without waiting. Grabs that the server refused,
    /// because another client has them, since the last call.
    std::vector<Grab> takeRefused();

    /// Tries the refused grabs again: who had them may be gone. Waits for the server.
    void retryRefused();

private:
    // The server grants a grab of ours whatever grabs of the core protocol there are, and most
    // programs that have shortcuts use those. Whether one has ours is found out by asking for the
    // same grab in the core protocol and giving it back at once.
    struct CoreProbe {
        unsigned sequence = 0;
        Grab grab;
    };
    struct Request {
        xcb_input_xi_passive_grab_device_cookie_t cookie{};
        std::vector<Grab> grabs;
    };

    std::set<Grab> installedButtonGrabs(std::uint32_t button) const;
    void grab(const std::set<Grab>& grabs);
    void ungrab(const std::set<Grab>& grabs);
    // The error comes by `sawError`.
    void probeInCore(const Grab& grab);
    // The error comes with the cookie.
    xcb_void_cookie_t tryInCore(const Grab& grab);

    const Connection& connection_;
    const bool hasGestures_;
    // What the server was asked for, refused or not.
    std::set<Grab> installed_;
    std::set<Grab> refused_;
    std::deque<Request> unanswered_;
    std::deque<CoreProbe> coreProbes_;
    // The number of the last request whose answer was taken.
    unsigned lastAnswered_ = 0;
    // Refused since the last `takeRefused`.
    std::vector<Grab> newlyRefused_;
};

} // namespace lentora::x11
