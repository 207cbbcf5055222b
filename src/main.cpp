// lentora: reads the command line and runs the command. The commands build the adapters of this
// system and hand them to the core.
#include "input/GateModifier.h"
#include "launch/LaunchCommand.h"
#include "platform/posix/BrokenPipes.h"
#include "platform/posix/PosixTextFiles.h"
#include "replay/ReplayCommand.h"
#include "watch/WatchCommand.h"
#include "windows/WindowsCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
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

// What the magnifier and `watch` have in common. The names are checked by the parser, so that a
// wrong one is answered with the right ones.
struct InputOptions {
    std::string gate = "option";
    std::string wheelZoom = "auto";

    void addTo(CLI::App& command, const std::vector<std::string>& gates) {
        command.add_option("--gate", gate, "The key to hold (default: option, which is Alt)")
            ->check(CLI::IsMember(gates));
        command
            .add_option("--wheel-zoom", wheelZoom,
                        "Turning the wheel with the key held is a pinch (default: auto, that is "
                        "where no touchpad reports pinches)")
            ->check(CLI::IsMember({"auto", "on", "off"}));
    }

    template <typename Arguments>
    void copyTo(Arguments& arguments) const {
        arguments.gate = gateModifierFromRawValue(gate).value_or(arguments.gate);
        arguments.wheelZoom = x11::wheelZoomFromName(wheelZoom).value_or(arguments.wheelZoom);
        arguments.version = LENTORA_VERSION;
    }
};

std::vector<std::string> gateNames() {
    std::vector<std::string> names;
    for (const GateModifier gate : allGateModifiers())
        names.emplace_back(rawValue(gate));
    return names;
}

void addLaunch(CLI::App& app, InputOptions& input, launch::LaunchArguments& arguments) {
    // Command is what detaches a locked lens.
    std::vector<std::string> gates = gateNames();
    std::erase(gates, rawValue(GateModifier::command));
    input.addTo(app, gates);
    // A comparison that a NaN fails as well.
    const CLI::Validator zooms(
        [](const std::string& text) {
            constexpr double least = 1;
            constexpr double most = 40;
            double zoom = 0;
            const bool isZoom =
                CLI::detail::lexical_cast(text, zoom) && zoom >= least && zoom <= most;
            return isZoom ? std::string() : text + " is not a zoom from 1 to 40";
        },
        "");
    app.add_option("--max-zoom", arguments.maxZoom, "The largest zoom (default: 2.5)")
        ->check(zooms)
        ->type_name("ZOOM");
    app.add_option("--fixed-zoom", arguments.fixedZoom,
                   "What a lens opens at (default: the pinch decides)")
        ->check(zooms)
        ->type_name("ZOOM");
}

void addWatch(CLI::App& app, InputOptions& input) {
    CLI::App* command =
        app.add_subcommand("watch", "Show what the program makes of your keys and pinches, live");
    input.addTo(*command, gateNames());
}

void addWindows(CLI::App& app, windows::WindowsArguments& arguments) {
    CLI::App* command = app.add_subcommand(
        "windows", "List the windows on the screen, and say which one a lens would show");
    command->add_flag("--json", arguments.json, "For programs");
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("A screen magnifier for people who need a closer look all day long.", "lentora");
    app.set_version_flag("--version", "lentora " LENTORA_VERSION);
    app.require_subcommand(0, 1);
    InputOptions launchInput;
    launch::LaunchArguments launchArguments;
    addLaunch(app, launchInput, launchArguments);
    replay::ReplayArguments replayArguments;
    addReplay(app, replayArguments);
    InputOptions watchInput;
    addWatch(app, watchInput);
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

    const bool hasOwnOptions = std::ranges::any_of(
        app.get_options(), [](const CLI::Option* option) { return !option->empty(); });
    if (hasOwnOptions && !app.get_subcommands().empty())
        return usage("options of " + app.get_subcommands()[0]->get_name() + " come after it");
    if (launchArguments.maxZoom && launchArguments.fixedZoom &&
        *launchArguments.fixedZoom > *launchArguments.maxZoom)
        return usage("--fixed-zoom is above --max-zoom");

    if (app.got_subcommand("replay")) {
        posix::PosixTextFiles files;
        return replay::runReplayCommand(replayArguments, files);
    }
    // The other commands speak to a server, which may go away.
    posix::ignoreBrokenPipes();
    if (app.got_subcommand("watch")) {
        watch::WatchArguments arguments;
        watchInput.copyTo(arguments);
        return watch::runWatchCommand(arguments, argc, argv);
    }
    if (app.got_subcommand("windows"))
        return windows::runWindowsCommand(windowsArguments);
    launchInput.copyTo(launchArguments);
    return launch::runLaunchCommand(launchArguments, argc, argv);
}
