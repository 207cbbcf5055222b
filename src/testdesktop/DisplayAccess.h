#pragma once

#include <string>

namespace lentora::testdesktop {

/// Who may connect to the private server: this user, and nobody else.
///
/// The server starts with an authority file that holds one random cookie nobody but us can read,
/// so that it turns away everybody at first, even other local users. With that cookie we connect
/// once and tell it to accept every local client of our own user. From then on programs of this
/// user connect with no cookie at all: neither ~/.Xauthority nor XAUTHORITY is ever touched.
class DisplayAccess {
public:
    /// Draws the cookie.
    DisplayAccess();

    /// False if the kernel gave no random numbers; nothing else may be called then.
    bool valid() const { return !cookie_.empty(); }

    /// The content of the authority file for the server's -auth.
    std::string authorityFile() const;

    /// Opens the running server `displayName` to all clients of this user.
    /// Blocks until the server has confirmed it; false, with the reason in `error`, if it did not.
    bool admitThisUser(const std::string& displayName, std::string& error) const;

private:
    std::string cookie_;
};

} // namespace lentora::testdesktop
