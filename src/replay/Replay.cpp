#include "replay/Replay.h"

#include "replay/Program.h"

namespace lentora::replay {

std::vector<std::string> replay(const Scenario& scenario, const ReplayOptions& options) {
    Program program(scenario, options);
    program.launch();
    for (const Step& step : scenario.steps)
        program.perform(step);
    program.runUntil(program.desktop().timeline.now() + scenario.tail);
    program.finish();
    return program.violations();
}

} // namespace lentora::replay
