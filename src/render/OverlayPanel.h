// The window that the lens is drawn in. It covers the display under the pointer.
#pragma once

#include "platform/Panel.h"
#include "support/Rect.h"

#include <cstdint>
#include <memory>

namespace lentora {

class MagnifierView;

/// Created once, moved from display to display, shown and hidden. Main thread.
class OverlayPanel : public std::enable_shared_from_this<OverlayPanel> {
public:
    /// Not on the screen yet. `contentRect` is in Cocoa space.
    static std::shared_ptr<OverlayPanel> create(Panels& panels, const Rect& contentRect);

    /// Fills the panel with `view`, which then is in this window.
    void setContentView(MagnifierView& view);

    /// Cocoa space.
    const Rect& frame() const { return frame_; }
    void setFrame(const Rect& frame);

    /// Above everything, whichever application is the active one.
    void orderFrontRegardless();

    /// Takes it off the screen at once.
    void orderOut();

    bool isVisible() const { return isVisible_; }

    /// What the window list and the capture service call this window.
    std::uint32_t windowNumber() const { return panel_->windowNumber(); }

private:
    OverlayPanel(std::unique_ptr<Panel> panel, const Rect& frame);

    std::unique_ptr<Panel> panel_;
    Rect frame_;
    bool isVisible_ = false;
};

} // namespace lentora
