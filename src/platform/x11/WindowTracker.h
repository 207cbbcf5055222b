// The windows of an X screen, as its events and what was read tell: which there are, how they are
// stacked, and what is not known yet or not any more.
//
// The tracker asks nobody. It is told what happened, says what should be read, and is told what
// was found. What it keeps are the children of the root window, for those are what the server
// stacks and what can be captured. With most window managers such a child is a frame, and the
// application's window, the client, lies somewhere inside it.
//
// The server gives the number of a window that is gone to a new one. A window is therefore its
// number and its generation, which is never given twice.
#pragma once

#include "platform/x11/ScreenSpace.h"

#include <cstdint>
#include <list>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace lentora::x11 {

using WindowId = std::uint32_t;

inline constexpr WindowId noWindow = 0;

/// The parts of what is known about a window, as a set of bits.
using Aspects = std::uint32_t;

namespace aspect {
/// The window itself: its class, depth and shape.
inline constexpr Aspects attributes = 1U << 0;
/// Which window inside it is the application's.
inline constexpr Aspects client = 1U << 1;
/// Where the client lies in its frame.
inline constexpr Aspects clientGeometry = 1U << 2;
inline constexpr Aspects title = 1U << 3;
inline constexpr Aspects applicationClass = 1U << 4;
inline constexpr Aspects type = 1U << 5;
inline constexpr Aspects state = 1U << 6;
inline constexpr Aspects desktop = 1U << 7;
inline constexpr Aspects opacity = 1U << 8;
inline constexpr Aspects frameExtents = 1U << 9;
inline constexpr Aspects shadowExtents = 1U << 10;
inline constexpr Aspects owner = 1U << 11;
/// Everything that is asked of the client.
inline constexpr Aspects ofClient = clientGeometry | title | applicationClass | type | state |
                                    desktop | opacity | frameExtents | shadowExtents | owner;
inline constexpr Aspects all = attributes | client | ofClient;
} // namespace aspect

/// What a window is for, as far as that matters here.
enum class WindowType {
    /// The window does not say.
    unstated,
    normal,
    desktop,
    dock,
    /// Toolbars and palettes.
    utility,
    /// Menus, tooltips and what else comes and goes above the windows.
    transient,
    notification,
};

/// Pixels on the four sides of a window.
struct Extents {
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;

    bool operator==(const Extents&) const = default;
};

/// The flags of _NET_WM_STATE that matter here.
struct WindowState {
    bool above = false;
    bool fullscreen = false;
    bool maximized = false;
    /// Minimised.
    bool hidden = false;
};

/// What is read from the client.
struct ClientProperties {
    std::string title;
    /// Both halves of WM_CLASS.
    std::string instanceName;
    std::string className;
    WindowType type = WindowType::unstated;
    WindowState state;
    /// The virtual desktop that it is on; `onAllDesktops`, or nothing when it does not say.
    std::optional<std::uint32_t> desktop;
    /// 0 … 1.
    double opacity = 1;
    /// What the window manager has put around the client.
    Extents frame;
    /// What the client itself has drawn around its contents: a shadow, which is no part of it.
    Extents shadow;
    /// The process that made it; see WindowReader for those on another machine.
    std::optional<int> pid;
};

inline constexpr std::uint32_t onAllDesktops = 0xFFFFFFFF;

struct Placement {
    /// Inside the border; x and y are the border's outer corner.
    PixelRect geometry;
    int border = 0;
};

struct TrackedWindow {
    WindowId id = noWindow;
    std::uint64_t generation = 0;
    Placement placement;
    bool mapped = false;
    bool overrideRedirect = false;
    /// The tree of the root showed it, so it is none of the windows that the server hides.
    bool inTree = false;

    /// Bits of windows that are not mapped are not read.
    Aspects stale = aspect::all;

    /// It has pixels: an InputOutput window that the tree shows.
    bool drawable = false;
    int depth = 0;
    bool shaped = false;

    /// The window itself, when there is no other inside.
    WindowId client = noWindow;
    /// Relative to the outer corner of the frame; empty when the client is the window itself.
    PixelRect clientGeometry;
    ClientProperties properties;

    /// With its border.
    PixelRect outerRect() const;
    /// What the user sees as the window: without invisible edges of the frame, and shadows.
    PixelRect visibleRect() const;
    bool isFramed() const { return client != noWindow && client != id; }
};

class WindowTracker {
public:
    /// The children of the root, from the bottom to the top, at the start. Forgets what was.
    void start(std::span<const WindowId> children);

    // What happened to children of the root.

    void created(WindowId id, const Placement& placement, bool overrideRedirect);
    void destroyed(WindowId id);
    void mapped(WindowId id);
    void unmapped(WindowId id);
    /// `sibling` is the one below; none for the lowest.
    void configured(WindowId id, const Placement& placement, bool overrideRedirect,
                    WindowId sibling);
    void moved(WindowId id, int x, int y);
    void circulated(WindowId id, bool toTop);
    /// It became a child of the root, on top of the others and unmapped.
    void adopted(WindowId id, bool overrideRedirect);
    /// It left the root for another parent.
    void reparented(WindowId id, WindowId parent);

    // What happened to clients inside of frames, and to properties.

    void clientConfigured(WindowId client);
    void clientGone(WindowId client);
    /// On a client.
    void propertyChanged(WindowId window, Aspects aspects);

    /// The windows that a window manager says it manages; nothing without such a window manager.
    void setManaged(std::optional<std::span<const WindowId>> clients);
    /// A window manager without a list of its windows may have put clients into frames.
    void setHasUnlistedFrames(bool has) { hasUnlistedFrames_ = has; }

    // What was read. Answers about a window that is not the same any more are dropped.

    struct Attributes {
        bool inputOutput = false;
        int depth = 0;
        bool shaped = false;
        bool mapped = false;
        bool overrideRedirect = false;
        Placement placement = {};
    };
    /// Nothing when the window was gone.
    void attributesRead(WindowId id, std::uint64_t generation,
                        const std::optional<Attributes>& attributes);
    /// Whether the tree of the root shows it.
    void treeChecked(WindowId id, std::uint64_t generation, bool shown);
    void clientFound(WindowId id, std::uint64_t generation, WindowId client);
    /// The properties may be changed by the caller; `aspects` are known now. Null when the window
    /// is not the same any more.
    TrackedWindow* reading(WindowId id, std::uint64_t generation, Aspects aspects);

    // Answers.

    /// From the bottom to the top.
    const std::list<TrackedWindow>& stack() const { return stack_; }
    const TrackedWindow* find(WindowId id) const;
    /// The child of the root that a client belongs to.
    const TrackedWindow* ofClient(WindowId client) const;
    /// The clients that the manager lists and that are in no frame that is known.
    std::vector<WindowId> missingClients() const;
    bool isManaged(WindowId client) const { return managed_.contains(client); }
    bool hasUnlistedFrames() const { return hasUnlistedFrames_; }

private:
    using Position = std::list<TrackedWindow>::iterator;

    Position* position(WindowId id);
    TrackedWindow* current(WindowId id, std::uint64_t generation);
    TrackedWindow& add(WindowId id);
    void remove(WindowId id);
    void setClient(TrackedWindow& window, WindowId client);
    void forgetClient(TrackedWindow& window);
    void searchAgain();

    std::list<TrackedWindow> stack_;
    std::unordered_map<WindowId, Position> positions_;
    /// From clients to the children of the root that they belong to.
    std::unordered_map<WindowId, WindowId> topLevels_;
    std::unordered_set<WindowId> managed_;
    bool hasUnlistedFrames_ = false;
    std::uint64_t lastGeneration_ = 0;
};

} // namespace lentora::x11
