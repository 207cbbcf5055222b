#include "platform/posix/HomeFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace lentora::posix {

std::string homeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/')
        return home;
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        return found->pw_dir;
    return "/";
}

std::string logFolder(const std::string& home) {
    // A relative path there is to be ignored by the rules of the XDG base directories.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && state[0] == '/')
        return std::string(state) + "/Lentora";
    return home + "/Library/Logs/Lentora";
}

} // namespace lentora::posix
