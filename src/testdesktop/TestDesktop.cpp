#include "testdesktop/TestDesktop.h"

#include "testdesktop/DesktopFolder.h"
#include "testdesktop/DisplayAccess.h"
#include "testdesktop/DisplayNumber.h"
#include "testdesktop/Executables.h"
#include "testdesktop/ServerConfig.h"
#include "testdesktop/ServerErrors.h"
#include "testdesktop/ServerProcess.h"

#include <xcb/xcb.h>

namespace lentora::testdesktop {
namespace {

constexpr const char* configName = "xorg.conf";
constexpr const char* logName = "Xorg.log";
constexpr const char* outputName = "server.out";
constexpr const char* authorityName = "authority";
constexpr const char* keyboardName = "keyboard";
constexpr const char* mouseName = "mouse";
constexpr const char* touchpadName = "touchpad";

constexpr int smallestWidth = 640; // below, the server finds the mode's pixel clock too slow
constexpr int smallestHeight = 480;
constexpr int largestWidth = 7680;
constexpr int largestHeight = 4320;
constexpr std::size_t longestParent = 60; // leaves room for a socket's name in its address

bool usableSize(int width, int height) {
    return width >= smallestWidth && width <= largestWidth && height >= smallestHeight &&
           height <= largestHeight;
}

std::string optionFault(const TestDesktopOptions& options) {
    if (!usableSize(options.screenWidth, options.screenHeight) ||
        !usableSize(options.virtualWidth, options.virtualHeight))
        return "screen sizes must lie between 640x480 and 7680x4320 pixels";
    // The path goes into the server's configuration file between quotes.
    if (!options.parentFolder.starts_with('/') || options.parentFolder.size() > longestParent ||
        options.parentFolder.find_first_of("\"\n\r") != std::string::npos)
        return "not usable as a folder: '" + options.parentFolder + "'";
    return {};
}

ServerConfig serverConfig(const TestDesktopOptions& options, const DesktopFolder& folder) {
    ServerConfig config;
    config.screenWidth = options.screenWidth;
    config.screenHeight = options.screenHeight;
    config.virtualWidth = options.virtualWidth;
    config.virtualHeight = options.virtualHeight;
    config.keyboardSocket = folder.file(keyboardName);
    config.mouseSocket = folder.file(mouseName);
    config.withoutExtension = options.withoutExtension;
    config.touchpadSocket = options.withTouchpad ? folder.file(touchpadName) : std::string();
    return config;
}

} // namespace

TestDesktop::TestDesktop() = default;
TestDesktop::~TestDesktop() = default;

TestDesktopStart TestDesktop::start(const TestDesktopOptions& options) {
    std::unique_ptr<TestDesktop> desktop(new TestDesktop());
    std::string error = desktop->launch(options);
    if (!error.empty())
        return {nullptr, std::move(error)};
    return {std::move(desktop), {}};
}

std::string TestDesktop::launch(const TestDesktopOptions& options) {
    std::string error = optionFault(options);
    if (!error.empty())
        return error;
    const std::string program = findXorg();
    if (program.empty())
        return "Xorg not found; install xserver-xorg-core";
    DesktopFolder::sweep(options.parentFolder);
    folder_ = DesktopFolder::create(options.parentFolder, error);
    if (!folder_)
        return error;
    display_ = DisplayNumber::claim(*folder_, error);
    if (!display_)
        return error;
    displayName_ = display_->name();
    error = startServer(options, program);
    return error.empty() ? connectInput(options) : error;
}

std::string TestDesktop::startServer(const TestDesktopOptions& options,
                                     const std::string& program) {
    const DisplayAccess access;
    if (!access.valid())
        return "no random numbers for the display's cookie";
    if (!folder_->write(configName, serverConfigText(serverConfig(options, *folder_))) ||
        !folder_->write(authorityName, access.authorityFile()))
        return "cannot write into " + folder_->path();
    ServerCommand command;
    command.program = program;
    command.outputFile = folder_->file(outputName);
    command.arguments = {displayName_,
                         "-displayfd",
                         std::to_string(ServerProcess::displayDescriptor),
                         "-config",
                         folder_->file(configName),
                         "-layout",
                         serverLayoutName,
                         "-logfile",
                         folder_->file(logName),
                         "-auth",
                         folder_->file(authorityName),
                         "-nolisten",
                         "tcp",
                         "-noreset",
                         "-novtswitch",
                         "-sharevts"};
    std::string error;
    server_ = ServerProcess::start(command, error);
    if (!server_)
        return error;
    if (!server_->waitUntilReady(options.startLimit)) {
        return serverFailure(server_->running() ? "the X server does not become ready"
                                                : "the X server gave up at its start");
    }
    return access.admitThisUser(displayName_, error) ? checkScreen(options) : serverFailure(error);
}

std::string TestDesktop::checkScreen(const TestDesktopOptions& options) const {
    // A server that does not like a mode takes another one without a word. This connection also
    // proves that the display is open to programs without a cookie: it shows none, and none is
    // searched for, which xcb cannot do for two threads at once.
    xcb_auth_info_t none{};
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect_to_display_with_auth_info(displayName_.c_str(), &none, nullptr),
        &xcb_disconnect);
    if (xcb_connection_has_error(connection.get()) != 0)
        return serverFailure("the new X server " + displayName_ + " lets nobody in");
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
    if (screen->width_in_pixels != options.screenWidth ||
        screen->height_in_pixels != options.screenHeight) {
        return serverFailure("the X server made a screen of " +
                             std::to_string(screen->width_in_pixels) + "x" +
                             std::to_string(screen->height_in_pixels) + " pixels");
    }
    return {};
}

std::string TestDesktop::connectInput(const TestDesktopOptions& options) {
    const ServerConfig config = serverConfig(options, *folder_);
    std::string error;
    injector_ = InputInjector::connect(
        {config.keyboardSocket, config.mouseSocket, config.touchpadSocket}, error);
    return injector_ ? std::string() : serverFailure(error);
}

std::string TestDesktop::serverFailure(const std::string& what) const {
    return describeServerFailure(what, folder_->file(outputName), logFile());
}

pid_t TestDesktop::serverPid() const {
    return server_->pid();
}

bool TestDesktop::running() const {
    return server_->running();
}

std::string TestDesktop::logFile() const {
    return folder_->file(logName);
}

} // namespace lentora::testdesktop
