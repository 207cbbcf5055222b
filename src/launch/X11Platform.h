// All that the program uses of a desktop with X11, Qt and POSIX, in the order in which one is built
// on another.
#pragma once

#include "platform/posix/DesktopEntries.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixTextFiles.h"
#include "platform/posix/SystemLog.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/qt/QtDescriptorWatches.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtText.h"
#include "platform/x11/AppIdentities.h"
#include "platform/x11/X11CaptureStreams.h"
#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11DisplayLinks.h"
#include "platform/x11/X11EventTap.h"
#include "platform/x11/X11Panels.h"
#include "platform/x11/X11Permissions.h"
#include "platform/x11/X11Pointer.h"
#include "platform/x11/X11Screenshots.h"
#include "platform/x11/X11WindowServices.h"
#include "support/Log.h"

#include <functional>
#include <memory>
#include <string>

namespace lentora::launch {

struct X11PlatformOptions {
    x11::ServerAbilities abilities;
    std::string logFolder;
    x11::WheelZoom wheelZoom = x11::WheelZoom::automatic;
    // Both are needed.

    /// Called on the main thread when the server goes away; more than once.
    std::function<void()> serverLost;
    /// Called on the main thread when input is being watched, or cannot be.
    std::function<void(bool installed)> tapStarted;
};

/// The members are the services, made in the order in which they stand. Main thread, but for what a
/// service says of itself.
class X11Platform {
public:
    /// Connects to the server that $DISPLAY names. Null, with the reason in `error`, where none
    /// answers or nothing can be shown on it. A QGuiApplication exists.
    static std::unique_ptr<X11Platform> open(X11PlatformOptions options, std::string& error);

    ~X11Platform() = default;
    X11Platform(const X11Platform&) = delete;
    X11Platform& operator=(const X11Platform&) = delete;

private:
    // What `open` finds at the server, and the rest cannot do without.
    struct Found {
        std::unique_ptr<x11::X11Desktop> desktop;
        std::unique_ptr<x11::X11Pointer> pointer;
    };

    X11Platform(X11PlatformOptions options, Found found);
    bool openPanels(std::string& error);
    x11::X11CaptureStreamsOptions captureOptions();
    void lose();

    const X11PlatformOptions options_;

public:
    posix::PosixTextFiles files;
    posix::SystemLog systemLog;
    posix::PosixWallClock wallClock;
    posix::PosixMediaClock mediaClock;
    qt::QtMainQueue mainQueue;
    qt::QtDescriptorWatches watches;
    posix::ThreadSerialQueue logQueue{"lentora.log"};
    Log log;

    posix::DesktopEntries desktopEntries;
    x11::AppIdentities identities{desktopEntries};
    const std::unique_ptr<x11::X11Desktop> desktop;
    const std::unique_ptr<x11::X11Pointer> pointer;
    const x11::X11Permissions permissions{options_.abilities};
    const x11::X11Displays displays{*desktop};
    const x11::X11WindowList windowList{*desktop, identities};
    const x11::X11Applications applications{*desktop, identities};
    const x11::X11FocusedWindows focusedWindows{*desktop};
    x11::X11ShareableContent shareableContent{*desktop, identities};

    // Two, so that the choice of a window does not wait for a stream that starts or stops.
    posix::ThreadExecutor executor{2};
    x11::X11CaptureStreams captureStreams;
    x11::X11Screenshots screenshots;
    const qt::QtTextMeasurer textMeasurer;
    const qt::QtTextRenderer textRenderer;
    std::unique_ptr<x11::X11Panels> panels;
    std::unique_ptr<x11::X11DisplayLinks> displayLinks;
    x11::X11EventTap eventTap;
};

} // namespace lentora::launch
