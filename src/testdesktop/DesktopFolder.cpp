#include "testdesktop/DesktopFolder.h"

#include "testdesktop/DisplayNumber.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <system_error>

namespace lentora::testdesktop {
namespace {

namespace fs = std::filesystem;

constexpr const char* folderPrefix = "lentora-desktop-";
constexpr const char* lockName = "lock";

// A folder without a lock file is either being made this very moment or was left behind in that
// moment. Nobody needs a minute to get from one system call to the next.
constexpr std::time_t unlockedGraceSeconds = 60;

bool takeLock(int fd) {
    return ::flock(fd, LOCK_EX | LOCK_NB) == 0;
}

/// Whether an open file still has its name, or a sweeper took it away in the meantime.
bool stillThere(int fd) {
    struct stat info {};
    return ::fstat(fd, &info) == 0 && info.st_nlink > 0;
}

/// The open lock file of `folder` if nobody holds it any more.
std::optional<posix::FileDescriptor> lockOfDeadOwner(const std::string& folder) {
    struct stat info {};
    if (::lstat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid())
        return std::nullopt;
    const std::string path = folder + "/" + lockName;
    posix::FileDescriptor lock(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (lock)
        return takeLock(lock.get()) ? std::optional(std::move(lock)) : std::nullopt;
    if (errno == ENOENT && info.st_mtime + unlockedGraceSeconds < std::time(nullptr))
        return posix::FileDescriptor();
    return std::nullopt;
}

} // namespace

std::unique_ptr<DesktopFolder> DesktopFolder::create(const std::string& parent,
                                                     std::string& error) {
    // Between making the lock file and locking it a sweeper may get the lock first and take the
    // folder away; then the next attempt simply makes another one.
    for (int attempt = 0; attempt < 5; ++attempt) {
        std::string path = parent + "/" + folderPrefix + "XXXXXX";
        if (::mkdtemp(path.data()) == nullptr) {
            error = "cannot make a folder in " + parent + ": " + std::strerror(errno);
            return nullptr;
        }
        const std::string lockPath = path + "/" + lockName;
        posix::FileDescriptor lock(
            ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (lock && takeLock(lock.get()) && stillThere(lock.get())) {
            return std::unique_ptr<DesktopFolder>(
                new DesktopFolder(std::move(path), std::move(lock)));
        }
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    error = "cannot lock a new folder in " + parent;
    return nullptr;
}

int DesktopFolder::sweep(const std::string& parent) {
    int removed = 0;
    std::error_code failure;
    for (fs::directory_iterator it(parent, failure), end; !failure && it != end;
         it.increment(failure)) {
        if (!it->path().filename().string().starts_with(folderPrefix))
            continue;
        const std::string folder = it->path().string();
        const std::optional<posix::FileDescriptor> lock = lockOfDeadOwner(folder);
        if (!lock)
            continue;
        DisplayNumber::releaseAbandoned(folder);
        std::error_code ignored;
        fs::remove_all(folder, ignored);
        if (!fs::exists(folder, ignored))
            ++removed;
    }
    return removed;
}

DesktopFolder::DesktopFolder(std::string path, posix::FileDescriptor lock)
    : path_(std::move(path)), lock_(std::move(lock)) {}

DesktopFolder::~DesktopFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

bool DesktopFolder::write(const std::string& name, const std::string& content) const {
    const std::string path = file(name);
    posix::FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    return fd && ::write(fd.get(), content.data(), content.size()) ==
                     static_cast<ssize_t>(content.size());
}

} // namespace lentora::testdesktop
