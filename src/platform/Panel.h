// Windows of glass that lie over the desktop.
#pragma once

#include "render/Layer.h"
#include "support/Rect.h"

#include <cstdint>
#include <memory>

namespace lentora {

/// A window without a frame, transparent where its layers are, and without a shadow. It lets
/// every click through, never gets the keyboard and never activates the program. It lies above
/// all other windows, full-screen ones included, on every workspace, and in no list of windows.
///
/// It shows a tree of layers and keeps up with it by itself; render/Layer.h says how.
///
/// Main thread. Where the window server refuses something, the panel is not seen, or not in the
/// right place; nobody is told, and the next call tries anew. Letting go of a panel that is on the
/// screen takes it off.
class Panel {
public:
    virtual ~Panel() = default;

    /// Shows the tree of `root`, whose frame is in the panel's own coordinates: points, origin at
    /// its bottom-left corner, y up. A tree is shown by one panel at a time. Null shows nothing.
    virtual void setContent(std::shared_ptr<Layer> root) = 0;

    /// Moves and sizes the panel, on the screen or not. Cocoa space.
    virtual void setFrame(const Rect& frame) = 0;

    /// Puts the panel on the screen, above everything; where it is there already, back on top.
    virtual void orderFront() = 0;

    /// Takes it off the screen at once.
    virtual void orderOut() = 0;

    /// What the window list and the capture service call this window. It stays the same for the
    /// panel's life; 0 when the window server did not give one.
    virtual std::uint32_t windowNumber() const = 0;
};

class Panels {
public:
    virtual ~Panels() = default;

    /// A panel that is not on the screen yet. `frame` is in Cocoa space. Main thread. Never null.
    virtual std::unique_ptr<Panel> make(const Rect& frame) = 0;
};

} // namespace lentora
