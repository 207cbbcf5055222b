// `lentora windows`: the windows on the screen as targeting sees them, and which one a lens would
// show. It is how a user finds out why the wrong one was chosen.
#pragma once

namespace lentora::windows {

struct WindowsArguments {
    /// For programs.
    bool json = false;
};

/// Prints the windows of the desktop that $DISPLAY names. Returns the exit code: 0, or 1 when there
/// is no desktop that answers.
int runWindowsCommand(const WindowsArguments& arguments);

} // namespace lentora::windows
