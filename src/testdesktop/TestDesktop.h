#pragma once

#include "testdesktop/InputInjector.h"

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>

namespace lentora::testdesktop {

class DesktopFolder;
class DisplayNumber;
class ServerProcess;

/// What the test desktop looks like. Sizes in pixels, from 640x480 to 7680x4320.
struct TestDesktopOptions {
    /// Size of the first output and of the root window at the start.
    int screenWidth = 1920;
    int screenHeight = 1080;

    /// The largest root window that RandR may set up later; enough for two 4K outputs.
    int virtualWidth = 7680;
    int virtualHeight = 4320;

    /// False: only a keyboard and a mouse, nothing that could pinch.
    bool withTouchpad = true;

    /// The name of an extension that is switched off; empty: none is.
    std::string withoutExtension = {};

    /// Where the private folder is made: an absolute path, at most 60 characters long.
    std::string parentFolder = "/tmp";

    /// How long the server may take to become ready.
    std::chrono::milliseconds startLimit{20000};
};

class TestDesktop;

/// Either a running desktop or the reason why there is none.
struct TestDesktopStart {
    std::unique_ptr<TestDesktop> desktop;
    std::string error; ///< empty if there is a desktop; may have several lines
};

/// A private X server without a screen, and hands to type, click and pinch on it.
///
/// It is a complete server of the usual kind (XInput 2.4, RandR with 16 outputs, Composite, XFixes,
/// Present, MIT-SHM; no GLX), drawing into memory. Only local clients of this user can connect, and
/// they need no cookie. Output DUMMY0 is on; DUMMY1 to DUMMY15 become "connected" as soon as a
/// client gives them a mode, which it adds to the output first (RRAddOutputMode).
///
/// Several may exist at once, in one process or in many. Neither the environment of this process
/// nor any file outside the private folder is touched, except the display's lock file and socket
/// in /tmp. The server ends with this object, and also when the process ends in any other way.
class TestDesktop {
public:
    /// Starts a server and waits until it accepts clients and input. Also sweeps what desktops of
    /// processes that have died left behind. Any thread; blocks for about a tenth of a second.
    static TestDesktopStart start(const TestDesktopOptions& options = {});

    TestDesktop(const TestDesktop&) = delete;
    TestDesktop& operator=(const TestDesktop&) = delete;

    /// Ends the server and removes the folder; blocks until both is done.
    ~TestDesktop();

    /// What clients connect to, e.g. ":100".
    const std::string& displayName() const { return displayName_; }

    /// The server's process number.
    pid_t serverPid() const;

    /// Whether the server is still there. Any thread.
    bool running() const;

    /// The server's log file; it goes away with this object.
    std::string logFile() const;

    /// The hands. They belong to this object; one thread at a time.
    InputInjector& injector() { return *injector_; }

private:
    TestDesktop();

    std::string launch(const TestDesktopOptions& options);
    std::string startServer(const TestDesktopOptions& options, const std::string& program);
    std::string checkScreen(const TestDesktopOptions& options) const;
    std::string connectInput(const TestDesktopOptions& options);
    std::string serverFailure(const std::string& what) const;

    // Destroyed from the last to the first: the server ends before its input connections are
    // closed (its driver spins on a closed one), and before its number and folder are given up.
    std::unique_ptr<DesktopFolder> folder_;
    std::unique_ptr<DisplayNumber> display_;
    std::string displayName_;
    std::unique_ptr<InputInjector> injector_;
    std::unique_ptr<ServerProcess> server_;
};

} // namespace lentora::testdesktop
