// The magnifiers that are measured, and how each is brought to magnify the same window.
#pragma once

#include "lens/Program.h"
#include "lens/Scene.h"
#include "lens/Windows.h"
#include "testdesktop/TestDesktop.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lentora::bench {

/// What there is to know of a magnifier before it runs.
struct Magnifier {
    /// By itself: in a window beside the source, from its start to its end. Pinch: in a lens over
    /// the source, from a pinch with Alt held until Alt is let go.
    enum class Opens { byItself, withPinch };

    std::string name;
    std::string setting;
    Opens opens = Opens::byItself;
    /// Looks at the screen only when the pointer has moved.
    bool needsMotion = false;
    /// Empty where the program is not installed.
    std::string program = {};
    std::vector<std::string> arguments = {};
    /// Settings: paths in its home folder, and what is in them.
    std::map<std::string, std::string> files = {};
    /// How often D is typed into its window: the next setting of xzoom's pace each time.
    int presses = 0;
};

/// All of them. `ownFolder` is where this program is, and others that were built with it.
std::vector<Magnifier> allMagnifiers(const std::string& ownFolder, xcb_window_t source);

/// A magnifier that runs, with its home folder in `folder`. Everything blocks. Ends with this
/// object.
class RunningMagnifier {
public:
    RunningMagnifier(testdesktop::TestDesktop& desktop, const Windows& windows,
                     const Magnifier& magnifier, const std::string& folder);

    /// Waits until the program is there, places its window, and sets its pace; a magnifier that
    /// opens with a pinch is open then. Says what is wrong, or nothing.
    std::string prepare(xcb_window_t source);

    /// Up to the last movement of the fingers before the lens opens, and that one.
    bool beginPinch();
    bool engage();
    /// The fingers leave, the lens stays.
    void endPinch();
    /// Lets go of Alt and waits until the lens is gone.
    void close();

    /// By a pixel, there and back in turns.
    void movePointer();
    bool needsMotion() const { return magnifier_.needsMotion; }

    /// Where it shows its picture.
    Area area() const;
    /// The window that it shows it in; none where it is not open.
    xcb_window_t window() const;

    pid_t pid() const { return program_ ? program_->pid() : -1; }
    bool running() { return program_ && program_->running(); }

private:
    std::string awaitWindow(xcb_window_t source);
    std::string awaitLens(xcb_window_t source);

    testdesktop::TestDesktop& desktop_;
    const Windows& windows_;
    const Magnifier& magnifier_;
    std::unique_ptr<Program> program_;
    std::string outputFile_;
    bool isMoved_ = false;
};

} // namespace lentora::bench
