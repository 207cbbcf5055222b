// Runs a scenario on the simulated desktop and prints what happened.
#pragma once

#include "platform/TextFiles.h"
#include "replay/Scenario.h"

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
};

/// Returns what the program did against the contracts of its platform interfaces.
std::vector<std::string> replay(const Scenario& scenario, const ReplayOptions& options);

} // namespace lentora::replay
