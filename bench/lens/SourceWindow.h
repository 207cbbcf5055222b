// The window that is magnified.
#pragma once

#include "lens/Scene.h"
#include "platform/x11/Connection.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lentora::bench {

/// What changes.
enum class Change { whole, small };

/// Another program's window, as far as a magnifier can tell. One thread.
class SourceWindow {
public:
    explicit SourceWindow(const std::string& display);
    ~SourceWindow();
    SourceWindow(const SourceWindow&) = delete;
    SourceWindow& operator=(const SourceWindow&) = delete;

    xcb_window_t id() const { return window_; }

    /// Fills part of it and lets the server know, without waiting.
    void fill(const Area& area, std::uint32_t color);

    /// Fills all of it, or the small part, with the colour of the two that it does not have.
    /// Returns the colour.
    std::uint32_t change(Change what);

    /// Blue all over. Waits until the server has done that.
    void reset();

    /// Waits until the server has done what it was told.
    void finish() const;

private:
    std::unique_ptr<x11::Connection> connection_;
    xcb_window_t window_ = XCB_NONE;
    xcb_gcontext_t gc_ = XCB_NONE;
    std::uint32_t color_ = blue;
};

} // namespace lentora::bench
