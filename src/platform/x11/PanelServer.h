// A connection to a server that panels can be shown on, and what drawing them has to know of it.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/render.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace lentora::x11 {

enum class PanelAtom {
    utf8String,
    netWmName,
    netWmPid,
    netWmDesktop,
    netWmState,
    stateAbove,
    stateSticky,
    stateSkipTaskbar,
    stateSkipPager,
    netWmBypassCompositor,
    comptonShadow,
    wmState,
    count
};

/// Does not change once it is open. One thread.
class PanelServer {
public:
    /// Connects. Null, with what is missing in `error`, where panels cannot be shown. Blocks for a
    /// few round trips.
    static std::shared_ptr<const PanelServer> open(const std::string& display, std::string& error);

    const Connection& connection() const { return *connection_; }
    xcb_connection_t* get() const { return connection_->get(); }
    xcb_window_t root() const { return connection_->root(); }

    /// Of windows with alpha.
    xcb_visualid_t visual() const { return visual_; }
    xcb_colormap_t colormap() const { return colormap_; }
    /// Red, green, blue and alpha, in 32 bits.
    xcb_render_pictformat_t colorFormat() const { return colorFormat_; }
    /// Alpha alone, in 8 bits.
    xcb_render_pictformat_t maskFormat() const { return maskFormat_; }
    /// What the root window and captured frames have.
    xcb_render_pictformat_t rootFormat() const { return rootFormat_; }
    std::uint8_t rootDepth() const { return rootDepth_; }

    xcb_atom_t atom(PanelAtom name) const { return atoms_[static_cast<std::size_t>(name)]; }

    std::uint8_t selectionNotify() const { return selectionNotify_; }
    /// The selection that a compositing manager of this screen owns.
    xcb_atom_t compositingManager() const { return compositingManager_; }

private:
    PanelServer() = default;

    std::string agree();
    void takeAtoms();
    std::string takeFormats(const xcb_render_query_pict_formats_reply_t& reply);

    std::unique_ptr<Connection> connection_;
    xcb_visualid_t visual_ = XCB_NONE;
    xcb_colormap_t colormap_ = XCB_NONE;
    xcb_render_pictformat_t colorFormat_ = XCB_NONE;
    xcb_render_pictformat_t maskFormat_ = XCB_NONE;
    xcb_render_pictformat_t rootFormat_ = XCB_NONE;
    std::uint8_t rootDepth_ = 0;
    std::uint8_t selectionNotify_ = 0;
    xcb_atom_t compositingManager_ = XCB_NONE;
    std::array<xcb_atom_t, static_cast<std::size_t>(PanelAtom::count)> atoms_{};
};

} // namespace lentora::x11
