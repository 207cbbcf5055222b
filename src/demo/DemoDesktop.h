// The private desktop of the demo: other people's programs with their windows, and lentora.
#pragma once

#include "demo/ChildProgram.h"
#include "demo/ProgramLog.h"
#include "demo/WindowFinder.h"
#include "platform/x11/Connection.h"
#include "testdesktop/DesktopFolder.h"
#include "testdesktop/TestDesktop.h"

#include <memory>
#include <string>
#include <vector>

namespace lentora::demo {

class DemoDesktop {
public:
    /// Starts everything, and waits until it can be seen and lentora is ready. Changes this
    /// process's environment, which the programs get. Throws `Failure` and `Interrupted`.
    DemoDesktop();

    /// Ends everything, the program that was started last first.
    ~DemoDesktop();
    DemoDesktop(const DemoDesktop&) = delete;
    DemoDesktop& operator=(const DemoDesktop&) = delete;

    const std::string& displayName() const { return desktop_->displayName(); }
    testdesktop::InputInjector& injector() { return desktop_->injector(); }

    const Box& page() const { return page_; }
    const Box& terminal() const { return terminal_; }

    /// Waits for a line of lentora's log with `text`, behind the one that was found last.
    void awaitLog(const std::string& text);

private:
    void setEnvironment() const;
    ChildProgram& start(const std::vector<std::string>& arguments);
    Box awaitWindow(const std::string& className, Spot corner);
    void startDesktopPrograms();
    void startLentora();

    std::unique_ptr<testdesktop::DesktopFolder> home_;
    std::unique_ptr<testdesktop::TestDesktop> desktop_;
    std::unique_ptr<x11::Connection> server_;
    std::unique_ptr<ProgramLog> log_;
    std::vector<std::unique_ptr<ChildProgram>> programs_;
    Box page_;
    Box terminal_;
};

} // namespace lentora::demo
