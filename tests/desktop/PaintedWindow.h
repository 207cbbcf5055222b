// Other programs on the test desktop, as far as their pixels are concerned.
#pragma once

#include "platform/x11/Connection.h"
#include "platform/x11/PixelRegion.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <string>

namespace lentora::test {

using x11::PixelRect;

/// 0xRRGGBB; for windows with alpha 0xAARRGGBB, with the colours multiplied by it.
using Colour = std::uint32_t;

/// A program: its connection, and what its windows need.
class PaintingProgram {
public:
    explicit PaintingProgram(const std::string& display);

    xcb_connection_t* get() const { return connection_->get(); }
    const x11::Connection& connection() const { return *connection_; }
    xcb_window_t root() const { return connection_->root(); }

    /// Returns when the server has carried out everything.
    void finish() const;

    std::uint8_t rootDepth() const { return rootDepth_; }
    xcb_visualid_t alphaVisual() const { return alphaVisual_; }
    xcb_colormap_t alphaColours() const { return alphaColours_; }
    xcb_atom_t atom(const std::string& name) const;

    /// The pixel of a drawable; the server's answer is waited for.
    Colour pixel(xcb_drawable_t drawable, int x, int y) const;

    void setRootPixmap(xcb_pixmap_t pixmap) const;

private:
    std::unique_ptr<x11::Connection> connection_;
    std::uint8_t rootDepth_ = 0;
    xcb_visualid_t alphaVisual_ = XCB_NONE;
    xcb_colormap_t alphaColours_ = XCB_NONE;
};

/// Filled with one colour, until something is painted on it. The server paints that colour itself
/// wherever the window's pixels are lost. Requests are sent, and not waited for.
class PaintedWindow {
public:
    struct Look {
        PixelRect frame;
        Colour colour = 0;
        bool hasAlpha = false;
        int border = 0;
        /// None for the root window.
        xcb_window_t parent = XCB_NONE;
        /// None for a new one.
        xcb_window_t id = XCB_NONE;
        /// Nothing is painted by the server.
        bool hasNoBackground = false;
    };

    /// Maps it, above all others.
    PaintedWindow(const PaintingProgram& program, const Look& look);
    /// The window stays.
    ~PaintedWindow() { xcb_free_gc(program_.get(), gc_); }
    PaintedWindow(const PaintedWindow&) = delete;
    PaintedWindow& operator=(const PaintedWindow&) = delete;

    xcb_window_t id() const { return id_; }

    void paint(const PixelRect& part, Colour colour) const;
    void moveTo(int x, int y) const;
    void resize(int width, int height) const;
    void raise() const;
    void lower() const;
    void map() const;
    void unmap() const;
    void destroy() const;
    void setOpacity(double opacity) const;
    /// Cuts everything off but this rectangle.
    void cutTo(const PixelRect& part) const;
    void setProcess(int pid) const;

private:
    const PaintingProgram& program_;
    xcb_window_t id_;
    xcb_gcontext_t gc_;
};

} // namespace lentora::test
