#include "launch/LaunchCommand.h"

#include "launch/Program.h"
#include "launch/X11Platform.h"
#include "platform/posix/HomeFolders.h"
#include "platform/qt/QuitSignals.h"

#include <QGuiApplication>
#include <QLoggingCategory>

#include <cstdlib>
#include <iostream>
#include <map>
#include <string_view>
#include <utility>

namespace lentora::launch {

namespace {

// The settings of one run: what the command line says, and defaults for the rest.
class CommandLineDefaults final : public Defaults {
public:
    explicit CommandLineDefaults(const LaunchArguments& arguments) {
        values_["gateModifier"] = std::string(rawValue(arguments.gate));
        if (arguments.maxZoom)
            values_["maxZoomLevel"] = *arguments.maxZoom;
        if (arguments.fixedZoom) {
            // Who asks for a large zoom does not want to be held to the usual limit.
            if (!arguments.maxZoom && *arguments.fixedZoom > Settings(*this).maxZoomLevel())
                values_["maxZoomLevel"] = *arguments.fixedZoom;
            values_["fixedZoomLevel"] = *arguments.fixedZoom;
            values_["continuousZoom"] = false;
        }
    }

    std::optional<DefaultsValue> value(std::string_view key) const override {
        const auto found = values_.find(key);
        return found == values_.end() ? std::nullopt : std::optional(found->second);
    }
    void setValue(std::string_view key, DefaultsValue value) override {
        values_.insert_or_assign(std::string(key), std::move(value));
    }

private:
    std::map<std::string, DefaultsValue, std::less<>> values_;
};

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && value[0] != '\0';
}

bool isWaylandSession() {
    const char* type = std::getenv("XDG_SESSION_TYPE");
    return isSet("WAYLAND_DISPLAY") || (type != nullptr && std::string_view(type) == "wayland");
}

void say(const std::string& what) {
    std::cerr << "lentora: " << what << std::endl;
}

// Writes the last lines of the log and leaves. Windows are being chosen, streams started and frames
// drawn on other threads, and all of them use the services here. So nothing is taken apart: the
// system and the server take back what a process had, in one step.
[[noreturn]] void leave(X11Platform& platform, int code) {
    platform.logQueue.runAndWait([] {});
    std::cout.flush();
    std::_Exit(code);
}

// Qt ends the process on its own when it notices first that the server is gone.
class LostServer {
public:
    [[noreturn]] static void handle() {
        say("the X server is gone");
        leave(*platform_, EXIT_FAILURE);
    }

    /// Once.
    static void expect(X11Platform& platform) {
        platform_ = &platform;
        std::atexit([] { handle(); });
    }

private:
    static inline X11Platform* platform_ = nullptr;
};

// What the server cannot do, for those who will miss it.
void sayWhatIsMissing(const x11::ServerAbilities& abilities) {
    std::string names;
    for (const std::string& name : abilities.missing)
        names += (names.empty() ? "" : ", ") + name;
    if (!abilities.capture)
        say("windows cannot be magnified");
    if (!abilities.input)
        say("keys and pinches cannot be seen");
    if (!names.empty())
        say("this X server lacks " + names);
    if (abilities.input && !abilities.pinches)
        say("touchpads cannot pinch: this X server has no XInput 2.4");
    if (!abilities.focus)
        say("this X server does not tell which window has the keyboard");
}

// What opens a lens here; nothing where nothing does.
std::string openingGesture(const LaunchArguments& arguments,
                           const x11::ServerAbilities& abilities) {
    const bool hasWheel = arguments.wheelZoom != x11::WheelZoom::off;
    if (!abilities.pinches)
        return hasWheel ? "turn the wheel" : "";
    const std::string pinch = "spread two fingers on the touchpad";
    if (arguments.wheelZoom == x11::WheelZoom::automatic)
        return pinch + ", or turn the wheel where there is none";
    return hasWheel ? pinch + ", or turn the wheel" : pinch;
}

std::string readyText(const LaunchArguments& arguments, const x11::ServerAbilities& abilities) {
    const std::string gate = displayName(arguments.gate, StringTable(Locale::en));
    std::string text = "lentora " + arguments.version + " runs on " + std::getenv("DISPLAY") + ". ";
    const std::string gesture = openingGesture(arguments, abilities);
    if (!abilities.capture || gesture.empty())
        return text + "Nothing opens a lens here. Ctrl+C ends.";
    return text + "Hold " + gate + " and " + gesture + ". Press " + gate + " twice, hold it and " +
           (abilities.pinches ? "pinch" : gesture) +
           ", and the lens stays; Esc closes it. Ctrl+C ends.";
}

int run(const LaunchArguments& arguments, const x11::ServerAbilities& abilities) {
    sayWhatIsMissing(abilities);
    std::string error;
    X11PlatformOptions options{
        .abilities = abilities,
        .logFolder = posix::logFolder(posix::homeFolder()),
        .wheelZoom = arguments.wheelZoom,
        .serverLost = [] { LostServer::handle(); },
        .tapStarted = {},
    };
    options.tapStarted = [&](bool installed) {
        if (installed) {
            std::cout << readyText(arguments, abilities) << std::endl;
            return;
        }
        say("input cannot be watched; the log says why: " + posix::logFolder(posix::homeFolder()));
        QCoreApplication::exit(EXIT_FAILURE);
    };
    const auto platform = X11Platform::open(std::move(options), error);
    if (!platform) {
        say(error);
        return EXIT_FAILURE;
    }
    LostServer::expect(*platform);
    CommandLineDefaults defaults(arguments);
    Program program(*platform, Settings(defaults));
    const qt::QuitSignals signals([] { QCoreApplication::exit(EXIT_SUCCESS); });
    const int code = QCoreApplication::exec();
    program.end();
    leave(*platform, code);
}

} // namespace

int runLaunchCommand(const LaunchArguments& arguments, int& argc, char** argv) {
    if (isWaylandSession())
        say("this is a Wayland session, in which Lentora magnifies the windows of X11 programs "
            "and sees keys and pinches only while one of them is used; all else needs a session "
            "with X11.");
    if (!isSet("DISPLAY")) {
        say("no display is set: DISPLAY has to name an X server");
        return EXIT_FAILURE;
    }
    // Said by us, before Qt would end the program.
    std::string error;
    x11::ServerAbilities abilities;
    if (const auto connection = x11::Connection::open("", error)) {
        abilities = x11::abilitiesOf(*connection);
    } else {
        say(error);
        return EXIT_FAILURE;
    }
    // Text and settings are those of the X desktop, in whatever session it is shown.
    qputenv("QT_QPA_PLATFORM", "xcb");
    QLoggingCategory::setFilterRules("qt.qpa.xcb.warning=false");
    const QGuiApplication application(argc, argv);
    return run(arguments, abilities);
}

} // namespace lentora::launch
