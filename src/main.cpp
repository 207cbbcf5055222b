// lentora: reads the command line and runs the command. The commands build the adapters of this
// system and hand them to the core.
#include "input/GateModifier.h"
#include "platform/posix/PosixTextFiles.h"
#include "replay/ReplayCommand.h"
#include "watch/WatchCommand.h"
#include "windows/WindowsCommand.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace lentora;

constexpr int exitUsage = 2;

void addReplay(CLI::App& app, replay::ReplayArguments& arguments) {
    CLI::App* command = app.add_subcommand(
        "replay", "Run a scenario on a simulated desktop and print what happened");
    command->add_option("SCENARIO", arguments.scenario, "The file; - for standard input")
        ->required();
    command->add_option("--home", arguments.home,
                        "The home folder that the program sees (default: a temporary one)");
    command->add_option("--png-dir", arguments.pngFolder, "Where pictures are written");
}

// The names are checked by the parser, so that a wrong one is answered with the right ones.
struct WatchNames {
    std::string gate = "option";
    std::string wheelZoom = "auto";
};

void addWatch(CLI::App& app, WatchNames& names) {
    std::vector<std::string> gates;
    for (const GateModifier gate : allGateModifiers())
        gates.emplace_back(rawValue(gate));
    CLI::App* command =
        app.add_subcommand("watch", "Show what the program makes of your keys and pinches, live");
    command->add_option("--gate", names.gate, "The key to hold (default: option, which is Alt)")
        ->check(CLI::IsMember(gates));
    command
        ->add_option("--wheel-zoom", names.wheelZoom,
                     "Turning the wheel with the key held is a pinch (default: auto, that is where "
                     "no touchpad reports pinches)")
        ->check(CLI::IsMember({"auto", "on", "off"}));
}

void addWindows(CLI::App& app, windows::WindowsArguments& arguments) {
    CLI::App* command = app.add_subcommand(
        "windows", "List the windows on the screen, and say which one a lens would show");
    command->add_flag("--json", arguments.json, "For programs");
}

int runWatch(const WatchNames& names, int& argc, char** argv) {
    watch::WatchArguments arguments;
    arguments.gate = gateModifierFromRawValue(names.gate).value_or(arguments.gate);
    arguments.wheelZoom = x11::wheelZoomFromName(names.wheelZoom).value_or(arguments.wheelZoom);
    arguments.version = LENTORA_VERSION;
    return watch::runWatchCommand(arguments, argc, argv);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("A screen magnifier for people who need a closer look all day long.", "lentora");
    app.set_version_flag("--version", "lentora " LENTORA_VERSION);
    app.require_subcommand(0, 1);
    replay::ReplayArguments replayArguments;
    addReplay(app, replayArguments);
    WatchNames watchNames;
    addWatch(app, watchNames);
    windows::WindowsArguments windowsArguments;
    addWindows(app, windowsArguments);

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

    if (app.got_subcommand("replay")) {
        posix::PosixTextFiles files;
        return replay::runReplayCommand(replayArguments, files);
    }
    if (app.got_subcommand("watch"))
        return runWatch(watchNames, argc, argv);
    if (app.got_subcommand("windows"))
        return windows::runWindowsCommand(windowsArguments);
    return usage("say what to do");
}
