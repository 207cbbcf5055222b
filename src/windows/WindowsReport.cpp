#include "windows/WindowsReport.h"

#include "capture/Geometry.h"
#include "support/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lentora::windows {

namespace {

using nlohmann::ordered_json;

std::optional<std::uint32_t> focusedWindow(const ReportSources& sources) {
    const auto frontmost = sources.applications.frontmostPid();
    return frontmost ? sources.focusedWindows.focusedWindow(*frontmost) : std::nullopt;
}

std::string titleOf(const ShareableContent& content, std::uint32_t id) {
    const auto found = std::ranges::find(content.windows, id, &ShareableWindow::windowID);
    return found == content.windows.end() ? std::string() : found->title.value_or("");
}

// Columns

using Row = std::array<std::string, 7>;

// The characters, as far as a terminal shows each in a cell of its own.
std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

std::string table(const std::vector<Row>& rows) {
    Row::size_type constexpr last = std::tuple_size_v<Row> - 1;
    std::array<std::size_t, last> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < last; ++i)
            widths[i] = std::max(widths[i], width(row[i]));
    }
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < last; ++i)
            line += row[i] + std::string(widths[i] - width(row[i]) + 2, ' ');
        line += row[last];
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

std::string whyOf(const ReportedWindow& window) {
    return std::string(description(window.eligibility)) + (window.isFocused ? ", focused" : "");
}

// Numbers with no more decimals than they need.
ordered_json asJson(const Rect& rect) {
    return {{"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}};
}

std::string_view errorName(WindowTargetError error) {
    switch (error) {
    case WindowTargetError::noWindow:
        return "noWindow";
    case WindowTargetError::protected_:
        return "protected";
    }
    return "";
}

} // namespace

std::optional<std::uint32_t> WindowsReport::chosen() const {
    const auto* const target = std::get_if<CaptureTarget>(&choice.result);
    return target == nullptr ? std::nullopt : std::optional(target->scWindow.windowID);
}

std::optional<WindowsReport> makeReport(const ReportSources& sources) {
    auto entries = sources.windowList.onScreenWindows();
    if (!entries)
        return std::nullopt;
    const std::vector<WInfo> infos = windowInfos(std::move(*entries));
    const Geometry geometry(sources.displays);
    const Point location = sources.pointer.location();
    const Rect screen = geometry.screenForCocoaPoint(location).frame;
    const auto focused = focusedWindow(sources);

    WindowsReport report{.pointer = geometry.flipped(location),
                         .screen = {screen.width, screen.height},
                         .windows = {},
                         .choice = {}};
    for (const WInfo& info : infos) {
        report.windows.push_back({.info = info,
                                  .identifier = sources.applications.bundleIdentifier(info.pid),
                                  .title = titleOf(sources.content, info.id),
                                  .eligibility = eligibility(info, report.screen),
                                  .isFocused = focused == info.id,
                                  .isUnderPointer = info.bounds.contains(report.pointer)});
    }
    report.choice = chooseWindow({
        .windows = infos,
        .content = sources.content,
        .pointer = report.pointer,
        .screen = report.screen,
        .focusedWindow = focused,
        .isIndependent =
            [&](int pid) {
                const auto identifier = sources.applications.bundleIdentifier(pid);
                return identifier && sources.independentApps.contains(*identifier);
            },
    });
    return report;
}

std::string asText(const WindowsReport& report) {
    std::vector<Row> rows{
        {"", "layer", "pid", "bounds", "owner", "identifier", "may be chosen; title"}};
    for (const ReportedWindow& window : report.windows) {
        const bool isChosen = report.chosen() == window.info.id;
        rows.push_back(
            {isChosen                ? ">"
             : window.isUnderPointer ? "."
                                     : "",
             std::to_string(window.info.layer), std::to_string(window.info.pid),
             rs(window.info.bounds), window.info.owner, window.identifier.value_or("-"),
             whyOf(window) + (window.title.empty() ? "" : "; \"" + window.title + "\"")});
    }
    std::string text = table(rows) + "\nThe pointer is at " + ps(report.pointer) +
                       ", on a display of " + text::fixed(report.screen.width, 0) + "x" +
                       text::fixed(report.screen.height, 0) +
                       " points. Windows under it are marked, the one for a lens with \">\".\n";
    for (const std::string& line : report.choice.log)
        text += line + '\n';
    return text;
}

ordered_json asJson(const WindowsReport& report) {
    ordered_json windows = ordered_json::array();
    for (const ReportedWindow& window : report.windows) {
        windows.push_back(
            {{"number", window.info.id},
             {"layer", window.info.layer},
             {"pid", window.info.pid},
             {"owner", window.info.owner},
             {"identifier", window.identifier ? ordered_json(*window.identifier) : ordered_json()},
             {"bounds", asJson(window.info.bounds)},
             {"alpha", window.info.alpha},
             {"title", window.title},
             {"eligible", window.eligibility == Eligibility::eligible},
             {"reason", description(window.eligibility)},
             {"focused", window.isFocused},
             {"underPointer", window.isUnderPointer}});
    }
    ordered_json json{
        {"pointer", {{"x", report.pointer.x}, {"y", report.pointer.y}}},
        {"screen", {{"width", report.screen.width}, {"height", report.screen.height}}},
        {"windows", std::move(windows)}};
    const auto chosen = report.chosen();
    json["chosen"] = chosen ? ordered_json(*chosen) : ordered_json();
    if (const auto* const error = std::get_if<WindowTargetError>(&report.choice.result))
        json["error"] = errorName(*error);
    json["log"] = report.choice.log;
    return json;
}

} // namespace lentora::windows
