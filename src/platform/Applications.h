// The running applications and their focused windows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lentora {

/// Any thread.
class Applications {
public:
    virtual ~Applications() = default;

    /// The process of this program.
    virtual int ownPid() const = 0;

    /// The process that the user works in; nothing when there is none, or it is not known.
    virtual std::optional<int> frontmostPid() const = 0;

    /// The identifier of a process's application, such as "org.mozilla.firefox". Nothing when the
    /// process is gone or has none.
    virtual std::optional<std::string> bundleIdentifier(int pid) const = 0;
};

/// What accessibility tells of applications' windows. Waits for the application that is asked, so
/// it is used on background threads only.
class FocusedWindows {
public:
    virtual ~FocusedWindows() = default;

    /// The number of the application's focused window, else of its main window. Nothing when it
    /// has neither, or the system does not tell.
    virtual std::optional<std::uint32_t> focusedWindow(int pid) const = 0;
};

} // namespace lentora
