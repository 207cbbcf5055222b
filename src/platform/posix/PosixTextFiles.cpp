#include "platform/posix/PosixTextFiles.h"

#include "platform/posix/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace lentora::posix {

namespace {

bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

bool PosixTextFiles::createDirectories(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (fs::is_directory(path, error))
        return true;
    fs::create_directories(fs::path(path).parent_path(), error);
    return ::mkdir(path.c_str(), 0700) == 0 || fs::is_directory(path, error);
}

bool PosixTextFiles::remove(const std::string& path) {
    return ::unlink(path.c_str()) == 0;
}

bool PosixTextFiles::rename(const std::string& from, const std::string& to) {
    return ::rename(from.c_str(), to.c_str()) == 0;
}

bool PosixTextFiles::writeAtomically(const std::string& path, std::string_view text) {
    // mkostemp makes the file with mode 0600.
    std::string temporary = path + ".XXXXXX";
    const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file)
        return false;
    if (writeAll(file.get(), text) && rename(temporary, path))
        return true;
    ::unlink(temporary.c_str());
    return false;
}

bool PosixTextFiles::appendToExisting(const std::string& path, std::string_view text) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY));
    return file && writeAll(file.get(), text);
}

} // namespace lentora::posix
