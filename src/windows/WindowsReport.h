// The windows as targeting sees them, and what a lens would show: for people, and for programs.
#pragma once

#include "capture/IndependentApps.h"
#include "capture/WindowChoice.h"
#include "platform/Applications.h"
#include "platform/Displays.h"
#include "platform/ShareableContent.h"
#include "platform/WindowList.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lentora::windows {

/// What is asked.
struct ReportSources {
    const ShareableContent& content;
    const WindowList& windowList;
    const Displays& displays;
    const Pointer& pointer;
    const Applications& applications;
    const FocusedWindows& focusedWindows;
    const IndependentApps& independentApps;
};

struct ReportedWindow {
    WInfo info;
    std::optional<std::string> identifier;
    std::string title;
    Eligibility eligibility = Eligibility::eligible;
    bool isFocused = false;
    bool isUnderPointer = false;
};

struct WindowsReport {
    /// CG space.
    Point pointer;
    /// The size of the display that it is on.
    Size screen;
    /// Front-most first.
    std::vector<ReportedWindow> windows;
    WindowChoice choice;

    /// The number of the window that a lens would show.
    std::optional<std::uint32_t> chosen() const;
};

/// Asks everything once. Nothing when the windows cannot be listed.
std::optional<WindowsReport> makeReport(const ReportSources& sources);

/// A table, and a line that says which window a lens would show and why.
std::string asText(const WindowsReport& report);

nlohmann::ordered_json asJson(const WindowsReport& report);

} // namespace lentora::windows
