#include "demo/DemoDesktop.h"

#include "demo/Waiting.h"
#include "demo/Wallpaper.h"
#include "testdesktop/Executables.h"

#include <cstdlib>
#include <filesystem>

namespace lentora::demo {

namespace {

// A size at which the moving picture can be read where it is shown as it is.
constexpr int screenWidth = 960;
constexpr int screenHeight = 600;

constexpr Spot pageCorner{26, 24};
constexpr Spot terminalCorner{446, 266};
constexpr Spot clockCorner{752, 30};

void requirePrograms() {
    std::string missing;
    for (const char* name : {"openbox", "picom", "mupdf", "xterm", "xclock"})
        if (testdesktop::findExecutable(name).empty())
            missing += (missing.empty() ? "" : ", ") + std::string(name);
    if (!missing.empty())
        throw Failure("the demo shows programs that are not installed here: " + missing);
}

std::string besideThisProgram(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

} // namespace

DemoDesktop::DemoDesktop() {
    requirePrograms();
    std::string error;
    home_ = testdesktop::DesktopFolder::create("/tmp", error);
    if (!home_)
        throw Failure(error);
    auto start =
        testdesktop::TestDesktop::start({.screenWidth = screenWidth, .screenHeight = screenHeight});
    if (!start.desktop)
        throw Failure("the private desktop cannot be started: " + start.error);
    desktop_ = std::move(start.desktop);
    server_ = x11::Connection::open(displayName(), error);
    if (!server_)
        throw Failure(error);
    setEnvironment();
    hangWallpaper(*server_);
    startDesktopPrograms();
    startLentora();
}

DemoDesktop::~DemoDesktop() {
    while (!programs_.empty())
        programs_.pop_back();
}

void DemoDesktop::setEnvironment() const {
    for (const char* name : {"WAYLAND_DISPLAY", "XDG_SESSION_TYPE", "XDG_CURRENT_DESKTOP",
                             "SESSION_MANAGER", "DBUS_SESSION_BUS_ADDRESS", "XAUTHORITY"})
        ::unsetenv(name);
    const auto set = [](const char* name, const std::string& value) {
        ::setenv(name, value.c_str(), 1);
    };
    set("DISPLAY", displayName());
    // Nobody's settings are read, and nothing is left behind.
    set("HOME", home_->path());
    set("XDG_CONFIG_HOME", home_->file("config"));
    set("XDG_CACHE_HOME", home_->file("cache"));
    set("XDG_DATA_HOME", home_->file("data"));
    set("XDG_STATE_HOME", home_->file("state"));
    // A pointer that can be seen in a small picture.
    set("XCURSOR_THEME", "DMZ-White");
    set("XCURSOR_SIZE", "32");
}

ChildProgram& DemoDesktop::start(const std::vector<std::string>& arguments) {
    const std::string output = home_->file("output" + std::to_string(programs_.size()));
    programs_.push_back(std::make_unique<ChildProgram>(arguments, output));
    return *programs_.back();
}

void DemoDesktop::startDesktopPrograms() {
    WindowFinder windows(*server_);
    ChildProgram& manager = start({"openbox"});
    await([&] { return manager.check(), windows.hasWindowManager(); },
          "the window manager openbox does not begin");
    ChildProgram& compositor = start({"picom", "--config", "/dev/null", "--backend", "xrender",
                                      "--shadow", "--shadow-opacity", "0.5"});
    await([&] { return compositor.check(), windows.hasCompositingManager(); },
          "the compositing manager picom does not begin");

    start({"mupdf", "-r", "72", "-W", "520", "-H", "520", "-S", "11", LENTORA_DEMO_PAGE});
    page_ = awaitWindow("MuPDF", pageCorner);
    start({"xclock", "-geometry", "170x170", "-update", "1", "-render"});
    awaitWindow("XClock", clockCorner);
    // The file's name is an argument of the shell, not a part of its program.
    start({"xterm", "-geometry", "80x24", "-fa", "DejaVu Sans Mono", "-fs", "7", "-bg", "#1d2433",
           "-fg", "#d7dce6", "-title", "Terminal", "-e", "sh", "-c",
           "printf '$ cat LICENSE\\n'; cat \"$1\"; printf '$ '; exec cat", "sh",
           LENTORA_DEMO_TEXT});
    terminal_ = awaitWindow("XTerm", terminalCorner);
}

Box DemoDesktop::awaitWindow(const std::string& className, Spot corner) {
    // A frame's thickness, at most.
    constexpr int frame = 40;
    const WindowFinder windows(*server_);
    ChildProgram& program = *programs_.back();
    std::optional<xcb_window_t> window;
    await([&] { return program.check(), (window = windows.find(className)).has_value(); },
          "the window of " + program.name() + " does not appear");
    windows.put(*window, corner);
    std::optional<Box> place;
    await(
        [&] {
            place = windows.place(*window);
            return place && std::abs(place->corner.x - corner.x) < frame &&
                   std::abs(place->corner.y - corner.y) < frame;
        },
        "the window of " + program.name() + " does not go to its place");
    return *place;
}

void DemoDesktop::startLentora() {
    log_ = std::make_unique<ProgramLog>(home_->file("state/Lentora/spike.log"));
    ChildProgram& lentora = start({besideThisProgram("lentora")});
    await([&] { return lentora.check(), lentora.output().find(" runs on ") != std::string::npos; },
          "lentora does not become ready");
}

void DemoDesktop::awaitLog(const std::string& text) {
    programs_.back()->check();
    log_->awaitLine(text);
}

} // namespace lentora::demo
