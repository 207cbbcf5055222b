// `lentora replay`: the command around a replay.
#pragma once

#include "platform/TextFiles.h"

#include <string>

namespace lentora::replay {

struct ReplayArguments {
    /// The scenario file; "-" for standard input.
    std::string scenario;
    /// Empty: a temporary folder that is removed at the end.
    std::string home;
    /// Where pictures are written; may be empty where no step makes one.
    std::string pngFolder;
};

/// Prints the trace on standard output, or one line on standard error. Returns the exit code: 0
/// when the scenario ran to its end, 2 for a scenario that cannot be read, 1 when the trace could
/// not be written or the program broke a contract of the simulated desktop.
int runReplayCommand(const ReplayArguments& arguments, TextFiles& files);

} // namespace lentora::replay
