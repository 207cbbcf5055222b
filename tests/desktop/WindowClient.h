// Another program on the test desktop, which makes windows and does to them what a test says.
#pragma once

#include "platform/x11/Connection.h"
#include "platform/x11/ScreenSpace.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lentora::test {

using x11::PixelRect;

struct WindowOptions {
    bool overrideRedirect = false;
    bool inputOnly = false;
    bool mapped = true;
    int border = 0;
    /// Chosen by the server's rules where it is 0; may be one that this client had before.
    xcb_window_t id = 0;
    /// The root where it is 0.
    xcb_window_t parent = 0;
};

/// Nothing is waited for but by `finish`.
class WindowClient {
public:
    explicit WindowClient(const std::string& display);

    xcb_window_t create(PixelRect geometry, const WindowOptions& options = {});
    /// A window with a name, which is both its title and its class.
    xcb_window_t createNamed(const std::string& name, PixelRect geometry,
                             const WindowOptions& options = {});
    void destroy(xcb_window_t window);
    void map(xcb_window_t window);
    void unmap(xcb_window_t window);
    void move(xcb_window_t window, int x, int y);
    void resize(xcb_window_t window, int width, int height);
    void raise(xcb_window_t window);
    void lower(xcb_window_t window);
    void putAbove(xcb_window_t window, xcb_window_t sibling);
    void reparent(xcb_window_t window, xcb_window_t parent, int x, int y);

    xcb_atom_t atom(std::string_view name);
    void setTitle(xcb_window_t window, std::string_view title);
    void setClass(xcb_window_t window, std::string_view bothHalves);
    /// Of any format; `values` are taken as bytes of format 8.
    void setText(xcb_window_t window, const char* property, const char* type,
                 std::string_view bytes);
    void setNumbers(xcb_window_t window, const char* property, const char* type,
                    const std::vector<std::uint32_t>& values);
    void setAtoms(xcb_window_t window, const char* property, const std::vector<const char*>& names);
    void removeProperty(xcb_window_t window, const char* property);
    void focus(xcb_window_t window);

    /// Returns when the server has carried out everything.
    void finish();

    const x11::Connection& connection() const { return *connection_; }
    xcb_window_t root() const { return connection_->root(); }

private:
    void configure(xcb_window_t window, std::uint16_t mask,
                   const std::vector<std::uint32_t>& values);

    std::unique_ptr<x11::Connection> connection_;
};

/// A window manager as far as others can tell: it says that it runs, puts windows into frames, and
/// keeps the lists. It does what the test says and nothing else.
class FakeWindowManager : public WindowClient {
public:
    explicit FakeWindowManager(const std::string& display);

    /// The edges of every frame that can be seen, and beside them those that cannot.
    static constexpr int edge = 4;
    static constexpr int titleBar = 20;
    static constexpr int invisibleEdge = 10;
    static constexpr int frameParts = 30;

    /// Puts a client into a frame, with or without a window between, and shows it. Returns the
    /// frame.
    xcb_window_t manage(xcb_window_t client, PixelRect geometry, bool withWrapper = false);
    /// Shows a client without a frame.
    void manageBare(xcb_window_t client);
    /// Gives up a client: its window is the root's again, and the frame is gone.
    void release(xcb_window_t client, xcb_window_t frame);

    void setActive(xcb_window_t client);
    void setCurrentDesktop(std::uint32_t desktop);
    /// Says that there are clients that it does not list, as managers do that know no lists.
    void forgetLists();

private:
    void publishList();

    xcb_window_t checkWindow_ = 0;
    std::vector<std::uint32_t> clients_;
};

} // namespace lentora::test
