// The displays of the desktop, and the pointer.
#pragma once

#include "support/Rect.h"

#include <optional>
#include <vector>

namespace lentora {

struct Screen {
    /// Cocoa space: points, origin at the bottom-left corner of the primary display, y up.
    Rect frame{0, 0, 1920, 1080};
    /// Pixels per point.
    double scale = 2;

    bool operator==(const Screen&) const = default;
};

/// Any thread. Every call answers for the displays as they are now.
class Displays {
public:
    virtual ~Displays() = default;

    /// In the platform's order; the first is the primary display, whose frame begins at (0, 0).
    /// Empty only while no display is connected.
    virtual std::vector<Screen> screens() const = 0;

    /// The display that holds the focused window; nothing when that is not known.
    virtual std::optional<Screen> mainScreen() const = 0;
};

class Pointer {
public:
    virtual ~Pointer() = default;

    /// Cocoa space. Any thread. Where the pointer was last seen, when it cannot be asked now.
    virtual Point location() const = 0;
};

} // namespace lentora
