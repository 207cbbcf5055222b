#include "testdesktop/DisplayNumber.h"

#include "testdesktop/DesktopFolder.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace lentora::testdesktop {
namespace {

constexpr int firstNumber = 100;
constexpr int lastNumber = 999;
constexpr const char* noteName = "display";

std::string lockPath(int number) {
    return "/tmp/.X" + std::to_string(number) + "-lock";
}

std::string socketPath(int number) {
    return "/tmp/.X11-unix/X" + std::to_string(number);
}

bool exists(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

/// Whether a server listens on the abstract twin of the display's socket.
bool abstractSocketTaken(int number) {
    posix::FileDescriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!probe)
        return false;
    const std::string path = socketPath(number);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, path.data(), path.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
    // A full backlog (EAGAIN) has somebody behind it too.
    return ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), length) == 0 ||
           errno != ECONNREFUSED;
}

/// Puts the lock file in place with its content in one step; false if the number is taken.
bool placeLock(int number) {
    std::string draft = "/tmp/.lentora-lock-XXXXXX";
    posix::FileDescriptor fd(::mkostemp(draft.data(), O_CLOEXEC));
    if (!fd)
        return false;
    char content[16];
    const int length = std::snprintf(content, sizeof content, "%10d\n", ::getpid());
    const bool placed = ::write(fd.get(), content, static_cast<std::size_t>(length)) == length &&
                        ::fchmod(fd.get(), 0444) == 0 &&
                        ::link(draft.c_str(), lockPath(number).c_str()) == 0;
    ::unlink(draft.c_str());
    return placed;
}

void removeTraces(int number) {
    // A server that was killed leaves its socket. The lock file goes last: it is the claim.
    ::unlink(socketPath(number).c_str());
    ::unlink(lockPath(number).c_str());
}

} // namespace

std::unique_ptr<DisplayNumber> DisplayNumber::claim(const DesktopFolder& folder,
                                                    std::string& error) {
    for (int number = firstNumber; number <= lastNumber; ++number) {
        if (exists(lockPath(number)) || exists(socketPath(number)) || abstractSocketTaken(number))
            continue;
        // Noted before the claim is made: a note without a claim does no harm, a claim without a
        // note would never be swept.
        const std::string note = std::to_string(number) + " " + std::to_string(::getpid()) + "\n";
        if (!folder.write(noteName, note)) {
            error = "cannot write into " + folder.path();
            return nullptr;
        }
        if (placeLock(number))
            return std::unique_ptr<DisplayNumber>(new DisplayNumber(number));
    }
    error = "no free X display number (is /tmp writable?)";
    return nullptr;
}

void DisplayNumber::releaseAbandoned(const std::string& folderPath) {
    std::ifstream note(folderPath + "/" + noteName);
    int number = 0;
    pid_t owner = 0;
    if (!(note >> number >> owner))
        return;
    std::ifstream lock(lockPath(number));
    pid_t holder = 0;
    if (lock >> holder && holder == owner)
        removeTraces(number);
}

DisplayNumber::~DisplayNumber() {
    removeTraces(number_);
}

} // namespace lentora::testdesktop
