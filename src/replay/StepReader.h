// Reads the parts of a scenario that occur both at its top and in its steps, and the steps.
#pragma once

#include "replay/JsonNode.h"
#include "replay/Scenario.h"

#include <vector>

namespace lentora::replay {

// Each throws FormatError.

std::vector<Screen> readDisplays(const JsonNode& node);
std::vector<sim::Window> readWindows(const JsonNode& node);
sim::Frontmost readFrontmost(const JsonNode& node);
sim::GrantedPermissions readPermissions(const JsonNode& node);

/// A step of a scenario with the given launch, not before `earliest`.
Step readStep(const JsonNode& node, Launch launch, double earliest);

} // namespace lentora::replay
