// Which window the user means: the rules alone. Snapshots of the desktop come in as data; the
// window and what is to be logged come out. Nothing is asked for on the way but applications'
// identities, so a choice costs microseconds and can be repeated, measured and explained.
#pragma once

#include "capture/CaptureTarget.h"
#include "platform/WindowList.h"
#include "support/Rect.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace lentora {

/// A window of the window list that has all that a choice needs.
struct WInfo {
    std::uint32_t id = 0;
    int pid = 0;
    int layer = 0;
    /// CG space, points.
    Rect bounds;
    double alpha = 1;
    std::string owner = "?";
};

/// In the order of `entries`. An entry that lacks more than alpha and owner is dropped.
std::vector<WInfo> windowInfos(std::vector<WindowListEntry> entries);

/// Whether a window can be meant at all, or hide another one; if not, the first reason.
enum class Eligibility {
    eligible,
    belowNormalLayer,
    screenSaverLayer,
    tooSmall,
    transparent,
    /// Above the normal layer, and nearly as large as the display.
    largeFloating,
};

/// `screen` is the size of the display under the pointer.
Eligibility eligibility(const WInfo& window, Size screen);

/// A few words for people: "eligible", "smaller than 40 x 40 points".
std::string_view description(Eligibility eligibility);

struct ChoiceInput {
    /// Front-most first.
    std::span<const WInfo> windows;
    const ShareableContent& content;
    /// CG space.
    Point pointer;
    /// The size of the display under the pointer.
    Size screen;
    /// The frontmost application's focused window.
    std::optional<std::uint32_t> focusedWindow;
    /// The windows of this process's application are independent documents. Asked once for a
    /// process, and only when it matters.
    std::function<bool(int pid)> isIndependent;
};

struct WindowChoice {
    std::variant<CaptureTarget, WindowTargetError> result;
    /// Messages of the category "target", in order.
    std::vector<std::string> log;
};

/// Takes time linear in the number of windows.
WindowChoice chooseWindow(const ChoiceInput& input);

} // namespace lentora
