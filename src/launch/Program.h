// The program on this desktop: the core's parts, put together and started.
#pragma once

#include "app/SessionParts.h"
#include "input/CGEventTapInputBackend.h"
#include "launch/X11Platform.h"
#include "platform/posix/UserLocale.h"
#include "support/Settings.h"
#include "support/StringTable.h"

#include <memory>

namespace lentora::launch {

/// Main thread. Runs on the event loop of the application.
class Program {
public:
    /// The platform outlives the program.
    Program(X11Platform& platform, const Settings& settings);

    /// Gives input back to applications. What is on the screen, and what is under way on other
    /// threads, goes with the process, which is to follow at once.
    void end();

    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

private:
    X11Platform& platform_;
    const StringTable strings_{posix::userLocale()};
    SessionParts session_;
    std::shared_ptr<CGEventTapInputBackend> backend_;
};

} // namespace lentora::launch
