// Where the program keeps its files on this system.
#pragma once

#include <string>

namespace lentora::posix {

/// The user's home folder: $HOME, or what the user database says.
std::string homeFolder();

/// The folder of the log files: $XDG_STATE_HOME/Lentora where that variable holds an absolute
/// path, else Library/Logs/Lentora under `home`.
std::string logFolder(const std::string& home);

} // namespace lentora::posix
