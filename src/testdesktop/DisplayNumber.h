#pragma once

#include <memory>
#include <string>

namespace lentora::testdesktop {

class DesktopFolder;

/// The claim on one X display number, held by the lock file that X servers themselves use
/// (/tmp/.X<number>-lock), so that other servers keep away from it and we keep away from theirs.
///
/// The number is not left to the server's own search: that one ignores lock files and looks at
/// abstract sockets only, which a network namespace hides. A server searching in a container that
/// shares /tmp/.X11-unix with its host would delete the socket of the host's own display.
class DisplayNumber {
public:
    /// Claims the lowest free number from 100 on (below live the numbers of people's sessions)
    /// and notes it in `folder`, so that a sweep can free it if this process dies.
    /// Returns nothing and says why in `error` if there is none.
    static std::unique_ptr<DisplayNumber> claim(const DesktopFolder& folder, std::string& error);

    /// Frees the number noted in the folder of a dead owner. Only a lock file that still carries
    /// that owner's process number is touched.
    static void releaseAbandoned(const std::string& folderPath);

    DisplayNumber(const DisplayNumber&) = delete;
    DisplayNumber& operator=(const DisplayNumber&) = delete;

    /// Gives the number back. The server must have ended before.
    ~DisplayNumber();

    /// What belongs into DISPLAY, e.g. ":100".
    std::string name() const { return ":" + std::to_string(number_); }

private:
    explicit DisplayNumber(int number) : number_(number) {}

    int number_;
};

} // namespace lentora::testdesktop
