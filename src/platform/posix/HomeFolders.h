// Where the program keeps its files on this system.
#pragma once

#include <string>
#include <vector>

namespace lentora::posix {

/// The user's home folder: $HOME, or what the user database says.
std::string homeFolder();

/// The folder of the log files: $XDG_STATE_HOME/Lentora where that variable holds an absolute
/// path, else Library/Logs/Lentora under `home`.
std::string logFolder(const std::string& home);

/// The folders in which desktop files of applications are, the most important one first, by
/// $XDG_DATA_HOME and $XDG_DATA_DIRS.
std::vector<std::string> applicationFolders(const std::string& home);

} // namespace lentora::posix
