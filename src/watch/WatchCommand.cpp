#include "watch/WatchCommand.h"

#include "input/CGEventTapInputBackend.h"
#include "input/DelegateRecorder.h"
#include "platform/posix/HomeFolders.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixTextFiles.h"
#include "platform/posix/SystemLog.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QuitSignals.h"
#include "support/Log.h"
#include "support/StringTable.h"
#include "support/Text.h"
#include "testdesktop/TestDesktop.h"

#include <QCoreApplication>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace lentora::watch {

namespace {

std::string argumentText(const DelegateCall& call) {
    if (const auto* number = std::get_if<double>(&call.argument))
        return text::fixed(*number, 3);
    if (const auto* flag = std::get_if<bool>(&call.argument))
        return *flag ? "true" : "false";
    return std::string(std::get<std::string_view>(call.argument));
}

// One run of the command: the services, the backend, and what is printed.
class Watch {
public:
    Watch(const WatchArguments& arguments, std::string display)
        : arguments_(arguments), display_(std::move(display)),
          log_({files_, logQueue_, systemLog_, wallClock_, mainQueue_},
               // Beside the program's own log, which a running program goes on with.
               posix::logFolder(posix::homeFolder()) + "/watch"),
          tap_({.display = display_,
                .wheelZoom = arguments.wheelZoom,
                .started = [this](bool installed) { tapStarted(installed); },
                .serverLost = [this] { serverLost(); }},
               log_),
          backend_(CGEventTapInputBackend::create({tap_, mainQueue_, executor_, mediaClock_, log_},
                                                  TapLocation::session)) {
        backend_->setGate(arguments.gate);
        backend_->setDelegate(delegate_);
        // What the tap has to say to the user; the rest of the log repeats the operations.
        log_.setOnLine([](const std::string& line) {
            if (line.find("] [input] ") != std::string::npos)
                std::cout << line << std::endl;
        });
    }

    ~Watch() { backend_->stop(); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    int run() {
        backend_->start();
        return QCoreApplication::exec();
    }

    /// Called on the main thread when input is being watched.
    std::function<void()> onWatching;

    void quit() { QCoreApplication::exit(EXIT_SUCCESS); }

    MainQueue& mainQueue() { return mainQueue_; }

    /// A lens was opened and closed again.
    bool sawLens() const { return engagedSeen_ && releasedSeen_; }

private:
    void tapStarted(bool installed) {
        mainQueue_.post([this, installed] {
            if (!installed)
                quitAfterTheLog();
            else if (onWatching)
                onWatching();
        });
    }

    // The lines that say why are on their way.
    void quitAfterTheLog() {
        logQueue_.runAndWait([] {});
        mainQueue_.post([] {
            std::cerr << "lentora: watch: input cannot be watched; the lines above say why\n";
            QCoreApplication::exit(EXIT_FAILURE);
        });
    }

    void serverLost() {
        mainQueue_.post([] {
            std::cerr << "lentora: watch: the X server is gone\n";
            QCoreApplication::exit(EXIT_FAILURE);
        });
    }

    void print(const DelegateCall& call) {
        const TimeOfDay now = wallClock_.localTimeOfDay();
        char time[24];
        std::snprintf(time, sizeof time, "%02d:%02d:%02d.%03d", now.hour, now.minute, now.second,
                      now.millisecond);
        std::cout << "[" << time << "] " << call.operation << "(" << call.label << ": "
                  << argumentText(call) << ")" << std::endl;
        engagedSeen_ = engagedSeen_ || call.operation == "inputDidEngage";
        releasedSeen_ = releasedSeen_ || call.operation == "inputDidRelease";
    }

    const WatchArguments& arguments_;
    const std::string display_;
    posix::PosixTextFiles files_;
    posix::SystemLog systemLog_;
    posix::PosixWallClock wallClock_;
    posix::PosixMediaClock mediaClock_;
    qt::QtMainQueue mainQueue_;
    posix::ThreadSerialQueue logQueue_{"lentora.log"};
    posix::ThreadExecutor executor_{1};
    Log log_;
    x11::X11EventTap tap_;
    std::shared_ptr<DelegateRecorder> delegate_ =
        std::make_shared<DelegateRecorder>([this](const DelegateCall& call) { print(call); });
    std::shared_ptr<CGEventTapInputBackend> backend_;
    bool engagedSeen_ = false;
    bool releasedSeen_ = false;
};

int watchDisplay(const WatchArguments& arguments) {
    const StringTable strings(Locale::en);
    Watch watch(arguments, "");
    const qt::QuitSignals signals([&] { watch.quit(); });
    watch.onWatching = [&] {
        std::cout << "lentora " << arguments.version << " watches " << std::getenv("DISPLAY")
                  << ". Hold " << displayName(arguments.gate, strings)
                  << " and pinch on the touchpad, or turn the wheel where there is none; Ctrl+C "
                     "ends."
                  << std::endl;
    };
    return watch.run();
}

// The key of the test desktop that opens a gate; its keyboard has no Fn key.
std::optional<testdesktop::Key> keyOf(GateModifier gate) {
    using testdesktop::Key;
    switch (gate) {
    case GateModifier::option:
    case GateModifier::optionLeft:
        return Key::AltL;
    case GateModifier::optionRight:
        return Key::AltR;
    case GateModifier::control:
    case GateModifier::controlLeft:
        return Key::ControlL;
    case GateModifier::controlRight:
        return Key::ControlR;
    case GateModifier::command:
        return Key::SuperL;
    case GateModifier::shift:
        return Key::ShiftL;
    case GateModifier::fn:
        return std::nullopt;
    }
    return std::nullopt;
}

// A pinch with the gate held, at the pace of a hand. Ends the watching when it is over.
class DemoPinch {
public:
    DemoPinch(Watch& watch, testdesktop::InputInjector& hands, testdesktop::Key key)
        : watch_(watch), moves_{
                             [&hands, key] { return hands.press(key); },
                             [&hands] { return hands.pinchBegin(1.0); },
                             [&hands] { return hands.pinchUpdate(1.1); },
                             [&hands] { return hands.pinchUpdate(1.3); },
                             [&hands] { return hands.pinchEnd(); },
                             [&hands, key] { return hands.release(key); },
                         } {}

    void move() {
        constexpr double pause = 0.1;
        if (next_ == moves_.size())
            return watch_.quit();
        if (!moves_[next_++]()) {
            std::cerr << "lentora: watch: the test desktop took no input\n";
            return watch_.quit();
        }
        watch_.mainQueue().postAfter(pause, [this] { move(); });
    }

private:
    Watch& watch_;
    const std::vector<std::function<bool()>> moves_;
    std::size_t next_ = 0;
};

int watchTestDesktop(const WatchArguments& arguments) {
    const auto key = keyOf(arguments.gate);
    if (!key) {
        std::cerr << "lentora: watch: no display is set, and a test desktop has no Fn key\n";
        return EXIT_FAILURE;
    }
    auto [desktop, error] = testdesktop::TestDesktop::start();
    if (!desktop) {
        std::cerr << "lentora: watch: no display is set, and a test desktop cannot be started: "
                  << error << '\n';
        return EXIT_FAILURE;
    }
    std::cout << "No display is set: this is a test desktop, and the pinch on it is done by the "
                 "program itself."
              << std::endl;
    Watch watch(arguments, desktop->displayName());
    const qt::QuitSignals signals([&] { watch.quit(); });
    DemoPinch demo(watch, desktop->injector(), *key);
    watch.onWatching = [&] { demo.move(); };
    const int code = watch.run();
    if (!std::cout) {
        std::cerr << "lentora: watch: what was seen cannot be written\n";
        return EXIT_FAILURE;
    }
    if (code == EXIT_SUCCESS && !watch.sawLens()) {
        std::cerr << "lentora: watch: the pinch did not arrive\n";
        return EXIT_FAILURE;
    }
    return code;
}

} // namespace

int runWatchCommand(const WatchArguments& arguments, int& argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const char* display = std::getenv("DISPLAY");
    return display != nullptr && display[0] != '\0' ? watchDisplay(arguments)
                                                    : watchTestDesktop(arguments);
}

} // namespace lentora::watch
