// The window a lens shows: what targeting chose, and what capture needs to know of it.
#pragma once

#include "platform/ShareableContent.h"
#include "support/Rect.h"

#include <string>
#include <string_view>
#include <vector>

namespace lentora {

struct CaptureTarget {
    ShareableWindow scWindow;
    /// CG space, points.
    Rect cgFrame;
    /// Empty when the window has none.
    std::string title;
    /// "?" when no application owns the window.
    std::string appName;
    /// The display that holds the centre of `cgFrame`, else the first.
    ShareableDisplay scDisplay;
    /// The windows in front of it whose pixels are to be left out, front-most first.
    std::vector<ShareableWindow> excludeWindows;
};

enum class WindowTargetError {
    /// Nothing usable is under the pointer, or the system did not tell.
    noWindow,
    /// A window was chosen, and the capture service does not offer it.
    protected_,
};

/// The case's name in logs and traces.
constexpr std::string_view toString(WindowTargetError error) {
    switch (error) {
    case WindowTargetError::noWindow:
        return "noWindow";
    case WindowTargetError::protected_:
        return "protected";
    }
    return "?";
}

} // namespace lentora
