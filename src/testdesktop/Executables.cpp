#include "testdesktop/Executables.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

namespace lentora::testdesktop {
namespace {

bool isProgram(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

} // namespace

std::string findExecutable(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(std::string(path != nullptr ? path : "") +
                               ":/usr/local/bin:/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string program = folder;
        program.append("/").append(name);
        if (folder.starts_with('/') && isProgram(program))
            return program;
    }
    return {};
}

std::string findXorg() {
    // The Xorg on PATH is often a wrapper that gains root on the way; gaining it would take our
    // hold on the server away. So the real binary comes first.
    for (const char* path : {"/usr/lib/xorg/Xorg", "/usr/libexec/Xorg", "/usr/lib/Xorg"})
        if (isProgram(path))
            return path;
    return findExecutable("Xorg");
}

} // namespace lentora::testdesktop
