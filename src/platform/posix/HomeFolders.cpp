#include "platform/posix/HomeFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

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

std::vector<std::string> applicationFolders(const std::string& home) {
    const char* data = std::getenv("XDG_DATA_HOME");
    std::vector<std::string> folders{
        (data != nullptr && data[0] == '/' ? std::string(data) : home + "/.local/share") +
        "/applications"};
    const char* others = std::getenv("XDG_DATA_DIRS");
    std::string_view rest = others != nullptr && others[0] != '\0' ? std::string_view(others)
                                                                   : "/usr/local/share:/usr/share";
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        if (rest.front() == '/')
            folders.push_back(std::string(rest.substr(0, end)) + "/applications");
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return folders;
}

} // namespace lentora::posix
