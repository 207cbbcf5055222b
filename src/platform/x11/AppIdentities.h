// Which application a window belongs to.
#pragma once

#include "platform/posix/DesktopEntries.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace lentora::x11 {

struct AppIdentity {
    /// The identifier that the application goes by in the core, which knows some kinds of
    /// application by those of the Mac: a browser has the one of its Mac version, whatever its
    /// windows' class says, and terminals and file managers have the ones of the Mac's own.
    /// Others have the id of their desktop file, or else their class in lower case. May be empty.
    std::string identifier;
    /// For people. Empty when the windows say nothing.
    std::string name;
    /// A browser, or an application with a desktop file: more than what a window says of itself.
    bool isKnown = false;
};

/// Any thread. `entries` outlives it.
class AppIdentities {
public:
    explicit AppIdentities(posix::DesktopEntries& entries) : entries_(entries) {}

    /// Looks for applications that were installed meanwhile. May wait for the disk; so it is for
    /// once before a number of questions.
    void refresh();

    /// By both halves of WM_CLASS.
    AppIdentity of(const std::string& instanceName, const std::string& className);

private:
    posix::DesktopEntries& entries_;
    std::mutex mutex_;
    std::uint64_t entriesRead_ = 0;
    std::map<std::pair<std::string, std::string>, AppIdentity> known_;
};

} // namespace lentora::x11
