#include "lens/Magnifiers.h"

#include "testdesktop/Executables.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace lentora::bench {
namespace {

using std::chrono::milliseconds;
using testdesktop::Key;

constexpr milliseconds startLimit{20000};
constexpr milliseconds lookAgain{50};
/// After a window was placed, or a lens opened or closed, before anything is measured.
constexpr milliseconds settling{1000};
/// From Alt to the pinch: quicker than people are.
constexpr milliseconds altLead{150};

// A window smaller than this is not the one with the picture.
constexpr int smallestWindow = 100;

std::string geometry(const Area& area) {
    return std::to_string(area.width) + "x" + std::to_string(area.height) + "+" +
           std::to_string(area.x) + "+" + std::to_string(area.y);
}

/// What of the source is seen at 2x in a window as large as the source, around the pointer.
constexpr Area magnifiedArea{pointer.x - sourceArea.width / (2 * zoom),
                             pointer.y - sourceArea.height / (2 * zoom), sourceArea.width / zoom,
                             sourceArea.height / zoom};

std::map<std::string, std::string> environment(const std::string& display,
                                               const std::filesystem::path& home) {
    return {{"DISPLAY", display},
            {"PATH", "/usr/local/bin:/usr/bin:/bin"},
            {"LANG", "C.UTF-8"},
            {"HOME", home},
            {"XDG_CONFIG_HOME", home / "config"},
            {"XDG_CACHE_HOME", home / "cache"},
            {"XDG_DATA_HOME", home / "data"},
            {"XDG_STATE_HOME", home / "state"},
            {"XDG_RUNTIME_DIR", home / "run"},
            // No programs of the desktop that runs the bench.
            {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"},
            {"NO_AT_BRIDGE", "1"},
            {"GDK_BACKEND", "x11"},
            {"GSETTINGS_BACKEND", "memory"},
            {"QT_QPA_PLATFORM", "xcb"}};
}

void makeHome(const std::filesystem::path& home, const std::map<std::string, std::string>& files) {
    for (const char* part : {"config", "cache", "data", "state", "run"})
        std::filesystem::create_directories(home / part);
    std::filesystem::permissions(home / "run", std::filesystem::perms::owner_all);
    for (const auto& [path, text] : files)
        std::ofstream(home / path) << text;
}

Magnifier xzoom(const std::string& setting, int presses) {
    return {.name = "xzoom",
            .setting = setting,
            .program = testdesktop::findExecutable("xzoom"),
            .arguments = {"-source", geometry(magnifiedArea), "-mag", std::to_string(zoom)},
            .presses = presses};
}

Magnifier kmag(const std::string& setting, const std::string& options) {
    return {.name = "kmag",
            .setting = setting,
            .program = testdesktop::findExecutable("kmag"),
            .files = {{"config/kmagrc", "[General Options]\n" + options}}};
}

Magnifier magnus(const std::string& setting, std::vector<std::string> arguments) {
    return {.name = "magnus",
            .setting = setting,
            .needsMotion = true,
            .program = testdesktop::findExecutable("magnus"),
            .arguments = std::move(arguments)};
}

} // namespace

std::vector<Magnifier> allMagnifiers(const std::string& ownFolder, xcb_window_t source) {
    const auto bare = [&](const char* depth, const char* setting) {
        return Magnifier{.name = "bare client",
                         .setting = setting,
                         .opens = Magnifier::Opens::withPinch,
                         .program = ownFolder + "/bench_bare_lens",
                         .arguments = {std::to_string(source), depth}};
    };
    return {bare("24", "opaque"),
            bare("32", "alpha"),
            {.name = "Lentora",
             .setting = "default",
             .opens = Magnifier::Opens::withPinch,
             .program = ownFolder + "/lentora",
             .arguments = {"--fixed-zoom", std::to_string(zoom)}},
            xzoom("default", 0),
            xzoom("fastest", 4),
            kmag("default", ""),
            kmag("fastest", "FPSIndex=4\n"),
            magnus("default", {}),
            magnus("fastest", {"--refresh-interval=1"})};
}

RunningMagnifier::RunningMagnifier(testdesktop::TestDesktop& desktop, const Windows& windows,
                                   const Magnifier& magnifier, const std::string& folder)
    : desktop_(desktop), windows_(windows), magnifier_(magnifier), outputFile_(folder + "/output") {
    makeHome(folder, magnifier.files);
    desktop_.injector().movePointer(pointer.x, pointer.y);
    std::vector<std::string> arguments{magnifier.program};
    arguments.insert(arguments.end(), magnifier.arguments.begin(), magnifier.arguments.end());
    program_ = Program::start(arguments, environment(desktop.displayName(), folder), outputFile_);
}

std::string RunningMagnifier::prepare(xcb_window_t source) {
    if (!program_)
        return "cannot be started";
    std::string error =
        magnifier_.opens == Magnifier::Opens::withPinch ? awaitLens(source) : awaitWindow(source);
    if (!error.empty()) {
        std::ostringstream said;
        said << std::ifstream(outputFile_).rdbuf();
        error += said.str().empty() ? "" : "; it said: " + said.str();
    }
    return error;
}

std::string RunningMagnifier::awaitWindow(xcb_window_t source) {
    const auto end = std::chrono::steady_clock::now() + startLimit;
    while (std::chrono::steady_clock::now() < end && running()) {
        for (const Window& window : windows_.all()) {
            if (window.id == source || window.area.width < smallestWindow ||
                window.area.height < smallestWindow)
                continue;
            // Whatever it still does at its start, it does before.
            std::this_thread::sleep_for(settling);
            windows_.place(window.id, besideArea);
            std::this_thread::sleep_for(settling);
            if (magnifier_.presses > 0) {
                desktop_.injector().movePointer(besideArea.x + besideArea.width / 2,
                                                besideArea.y + besideArea.height / 2);
                for (int i = 0; i < magnifier_.presses; ++i)
                    desktop_.injector().tap(Key::D);
                desktop_.injector().movePointer(pointer.x, pointer.y);
                std::this_thread::sleep_for(settling);
            }
            return {};
        }
        std::this_thread::sleep_for(lookAgain);
    }
    return running() ? "shows no window" : "ended by itself";
}

// It can say nothing when it is ready, so it is asked again until it answers.
std::string RunningMagnifier::awaitLens(xcb_window_t source) {
    const auto end = std::chrono::steady_clock::now() + startLimit;
    while (std::chrono::steady_clock::now() < end && running()) {
        std::this_thread::sleep_for(settling);
        beginPinch();
        engage();
        endPinch();
        std::this_thread::sleep_for(settling);
        if (window() != source)
            return {};
        close();
    }
    return running() ? "opens no lens" : "ended by itself";
}

bool RunningMagnifier::beginPinch() {
    auto& hands = desktop_.injector();
    const bool held = hands.press(Key::AltL);
    std::this_thread::sleep_for(altLead);
    return held && hands.pinchBegin() && hands.pinchUpdate(1.02);
}

bool RunningMagnifier::engage() {
    return desktop_.injector().pinchUpdate(1.1);
}

void RunningMagnifier::endPinch() {
    desktop_.injector().pinchEnd();
}

void RunningMagnifier::close() {
    desktop_.injector().release(Key::AltL);
    std::this_thread::sleep_for(settling);
}

void RunningMagnifier::movePointer() {
    isMoved_ = !isMoved_;
    desktop_.injector().movePointer(pointer.x, pointer.y + (isMoved_ ? 1 : 0));
}

Area RunningMagnifier::area() const {
    return magnifier_.opens == Magnifier::Opens::withPinch ? sourceArea : besideArea;
}

xcb_window_t RunningMagnifier::window() const {
    const Area shown = area();
    return windows_.at({shown.x + shown.width / 2, shown.y + shown.height / 2});
}

} // namespace lentora::bench
