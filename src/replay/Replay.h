// Runs a scenario on the simulated desktop and prints what happened.
#pragma once

#include "platform/TextFiles.h"
#include "replay/Scenario.h"
#include "support/Picture.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lentora::replay {

struct ReplayOptions {
    /// The home folder that the program sees; log files land in it.
    std::string home;
    TextFiles& files;
    /// Called with every line of the trace, without a line end, as it happens.
    std::function<void(std::string_view)> print;
    /// Called with every picture of a `png` step, and the file name that the step gives it. May be
    /// empty where no step makes one.
    std::function<void(const Picture& picture, const std::string& file)> writePicture;
    /// The display's beats come also where the session lets them rest, which must not be seen.
    bool restless = false;
};

/// Returns what the program did against the contracts of its platform interfaces.
std::vector<std::string> replay(const Scenario& scenario, const ReplayOptions& options);

} // namespace lentora::replay
