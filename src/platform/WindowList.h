// The windows on the screen, in their stacking order.
#pragma once

#include "support/Rect.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lentora {

/// How high a window floats. Within one layer, the stacking order decides.
namespace windowLayer {
inline constexpr int desktop = -2147483623;
inline constexpr int normal = 0;
inline constexpr int floating = 3;
/// Panels that wait for an answer, and whatever floats above them.
inline constexpr int modalPanel = 8;
inline constexpr int dock = 20;
inline constexpr int menu = 101;
/// Full-screen pictures that nothing but the program's own lens floats above or beside.
inline constexpr int screenSaver = 1000;
} // namespace windowLayer

/// What the system says of one window. A value it does not give is absent.
struct WindowListEntry {
    /// The system's number for the window. It may be given to another window once this is gone.
    std::optional<std::uint32_t> number;
    std::optional<int> ownerPid;
    std::optional<int> layer;
    /// CG space: points, origin at the top-left corner of the primary display, y down.
    std::optional<Rect> bounds;
    /// 0 (invisible) … 1.
    std::optional<double> alpha;
    /// The owning application's name.
    std::optional<std::string> ownerName;
};

/// Waits for the window system, so it is asked on background threads only.
class WindowList {
public:
    virtual ~WindowList() = default;

    /// The windows that are on the screen now, without the desktop's own, front-most first.
    /// Nothing when the system does not tell.
    virtual std::optional<std::vector<WindowListEntry>> onScreenWindows() const = 0;
};

} // namespace lentora
