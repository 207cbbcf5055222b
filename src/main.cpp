// lentora: reads the command line, builds the adapters of this system and hands them to the core.
#include "platform/posix/PosixTextFiles.h"
#include "replay/ReplayCommand.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <string>

namespace {

constexpr int exitUsage = 2;

} // namespace

int main(int argc, char** argv) {
    using namespace lentora;

    CLI::App app("A screen magnifier for people who need a closer look all day long.", "lentora");
    app.set_version_flag("--version", "lentora " LENTORA_VERSION);

    replay::ReplayArguments replayArguments;
    CLI::App* replayCommand = app.add_subcommand(
        "replay", "Run a scenario on a simulated desktop and print what happened");
    replayCommand
        ->add_option("SCENARIO", replayArguments.scenario, "The file; - for standard input")
        ->required();
    replayCommand->add_option("--home", replayArguments.home,
                              "The home folder that the program sees (default: a temporary one)");
    replayCommand->add_option("--png-dir", replayArguments.pngFolder, "Where pictures are written");

    const auto usage = [&](const std::string& what) {
        const auto commands = app.get_subcommands();
        std::cerr << "lentora: " << what << "\n\n"
                  << (commands.empty() ? app.help() : commands[0]->help("lentora"));
        return exitUsage;
    };
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        return usage(error.what());
    }
    if (app.get_subcommands().empty())
        return usage("say what to do");

    posix::PosixTextFiles files;
    return replay::runReplayCommand(replayArguments, files);
}
