// Which of the root window's children a stream leaves out.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/x11/CaptureServer.h"
#include "platform/x11/MessageQueue.h"
#include "platform/x11/WindowStack.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace lentora::x11 {

/// A window manager puts an application's window into a frame of its own, and it is the frame that
/// is a child of the root window. A filter may name either; what is left out is the child of the
/// root window. A number that is given to another window does not leave that one out.
///
/// The capture thread.
class WindowFilter {
public:
    /// Of a window with this number now; nothing where it is not known.
    using GenerationOf = std::function<std::optional<std::uint64_t>(std::uint32_t windowID)>;

    /// `changed` is called when the answers may have become others, until this object's end, which
    /// is also that of `messages`.
    WindowFilter(const CaptureServer& server, MessageQueue& messages, const CaptureFilter& filter,
                 const GenerationOf& generationOf, std::function<void()> changed);
    WindowFilter(const WindowFilter&) = delete;
    WindowFilter& operator=(const WindowFilter&) = delete;

    /// Asks in which windows the excluded ones lie. Once.
    void begin(const WindowStack& stack);

    /// Takes an event that was selected on the root window.
    void apply(const xcb_generic_event_t& event);

    /// A window whose owner matters and is not known yet is left out.
    bool isLeftOut(const TopLevel& window);

private:
    struct Exclusion {
        xcb_window_t window = XCB_NONE;
        /// Where it is, or is in. None while that is not known.
        xcb_window_t topLevel = XCB_NONE;
    };
    using OwnerHandler = std::function<void(std::optional<int> pid)>;

    void findTopLevel(xcb_window_t excluded, xcb_window_t at);
    bool isExcluded(xcb_window_t topLevel) const;
    bool isOfApplication(const TopLevel& window);
    void askOwner(xcb_window_t window, int depth, OwnerHandler handler);
    void askOwnerOfChildren(std::vector<xcb_window_t> children, int depth, OwnerHandler handler);
    void askOwnerOfServer(xcb_window_t window, OwnerHandler handler);

    const CaptureServer& server_;
    MessageQueue& messages_;
    const std::function<void()> changed_;
    std::vector<Exclusion> exclusions_;
    // Absent where all applications are in the picture.
    std::optional<std::set<int>> pids_;
    struct Owner {
        std::uint64_t serial = 0;
        bool isIncluded = false;
    };
    // By the id of the window; of windows that exist.
    std::map<xcb_window_t, Owner> owners_;
};

} // namespace lentora::x11
