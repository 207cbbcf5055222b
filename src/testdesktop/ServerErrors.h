#pragma once

#include <string>

namespace lentora::testdesktop {

/// The text for a server that did not come up: `what` happened, which package is probably missing,
/// and the last error lines the server wrote to its output and its log (absolute paths; either may
/// be missing).
std::string describeServerFailure(const std::string& what, const std::string& outputFile,
                                  const std::string& logFile);

} // namespace lentora::testdesktop
