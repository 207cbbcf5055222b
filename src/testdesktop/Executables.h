#pragma once

#include <string>

namespace lentora::testdesktop {

/// The absolute path of a program on PATH (or in the usual places), or "" if there is none.
std::string findExecutable(const std::string& name);

/// The absolute path of the X server's own binary, or "" if it is not installed.
std::string findXorg();

} // namespace lentora::testdesktop
