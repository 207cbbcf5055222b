// X asks nobody for permission: what the server can do, every program may.
#pragma once

#include "platform/Permissions.h"
#include "platform/x11/Connection.h"

#include <string>
#include <utility>
#include <vector>

namespace lentora::x11 {

/// What the program needs of a server.
struct ServerAbilities {
    /// Composite, Damage, XFixes, Render and Shape: the pixels of windows, and when they change.
    bool capture = false;
    /// Who has the keyboard. Every server knows, but it does not tell clients that it distrusts.
    bool focus = false;
    /// XInput 2.1: raw events, also while another client has a grab, and grabs of devices.
    bool input = false;
    /// XInput 2.4: the gestures of touchpads.
    bool pinches = false;
    /// The extensions that capture and input would need and the server lacks, as people know them.
    std::vector<std::string> missing;

    bool operator==(const ServerAbilities&) const = default;
};

/// Waits for the server. A lost one can do nothing.
ServerAbilities abilitiesOf(const Connection& connection);

class X11Permissions final : public Permissions {
public:
    explicit X11Permissions(ServerAbilities abilities) : abilities_(std::move(abilities)) {}

    bool screenRecording() const override { return abilities_.capture; }
    bool accessibility() const override { return abilities_.focus; }
    bool inputMonitoring() const override { return abilities_.input; }

private:
    const ServerAbilities abilities_;
};

} // namespace lentora::x11
