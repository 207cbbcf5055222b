// lentora_demo: shows on a private desktop what lentora does, and takes pictures of it.
#include "demo/DemoDesktop.h"
#include "demo/Film.h"
#include "demo/Tour.h"
#include "demo/Waiting.h"
#include "platform/posix/BrokenPipes.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <optional>
#include <string>

namespace {

using namespace lentora::demo;

constexpr int exitUsage = 2;
constexpr int exitInterrupted = 130;

void show(const std::string& folder, const std::string& filmFolder) {
    DemoDesktop desktop;
    std::optional<Film> film;
    if (!filmFolder.empty())
        film.emplace(desktop.displayName(), filmFolder);
    Tour(desktop, folder, film ? &*film : nullptr).run();
    if (film)
        film->finish();
}

} // namespace

int main(int argc, char** argv) {
    lentora::posix::ignoreBrokenPipes();
    CLI::App app("Shows on a private desktop what lentora does, and takes pictures of it.",
                 "lentora_demo");
    std::string folder;
    std::string filmFolder;
    app.add_option("FOLDER", folder, "Where the pictures are written")
        ->required()
        ->check(CLI::ExistingDirectory);
    app.add_option("--film", filmFolder, "Where the frames of a film are written")
        ->check(CLI::ExistingDirectory);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        std::cerr << "lentora_demo: " << error.what() << "\n\n" << app.help();
        return exitUsage;
    }

    endWaitsOnSignals();
    try {
        show(folder, filmFolder);
        return EXIT_SUCCESS;
    } catch (const Interrupted&) {
        return exitInterrupted;
    } catch (const std::exception& failure) {
        std::cerr << "lentora_demo: " << failure.what() << '\n';
        return EXIT_FAILURE;
    }
}
