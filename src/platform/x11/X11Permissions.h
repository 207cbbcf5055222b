// X asks nobody for permission: what the server can do, every program may.
#pragma once

#include "platform/Permissions.h"
#include "platform/x11/Connection.h"

namespace lentora::x11 {

/// What the program needs of a server.
struct ServerAbilities {
    /// Composite, Damage, XFixes and Render: the pixels of windows, and when they change.
    bool capture = false;
    /// The window that the user works in is known.
    bool focus = false;
    /// XInput 2: raw events, and grabs of devices.
    bool input = false;

    bool operator==(const ServerAbilities&) const = default;
};

/// Waits for the server. A lost one can do nothing.
ServerAbilities abilitiesOf(const Connection& connection);

class X11Permissions final : public Permissions {
public:
    explicit X11Permissions(ServerAbilities abilities) : abilities_(abilities) {}

    bool screenRecording() const override { return abilities_.capture; }
    bool accessibility() const override { return abilities_.focus; }
    bool inputMonitoring() const override { return abilities_.input; }

private:
    const ServerAbilities abilities_;
};

} // namespace lentora::x11
