#include "testdesktop/ServerErrors.h"

#include <algorithm>
#include <deque>
#include <fstream>
#include <string_view>

namespace lentora::testdesktop {
namespace {

constexpr std::size_t linesShown = 6;

struct Hint {
    std::string_view sign;
    std::string_view advice;
};

constexpr Hint hints[] = {
    {"Failed to load module \"dummy\"", "install xserver-xorg-video-dummy"},
    {"Failed to load module \"inputtest\"", "install xserver-xorg-core 21.1 or later"},
    {"xkbcomp", "install x11-xkb-utils"},
    {"XKB: Failed to load keymap", "install xkb-data and x11-xkb-utils"},
    {"Failed to compile keymap", "install xkb-data and x11-xkb-utils"},
};

/// The server's own words without the lines that say nothing about the cause.
bool worthShowing(std::string_view line) {
    constexpr std::string_view noise[] = {
        "WARNING, (EE) error",
        "(WW) warning, (EE) error",
        "dbus-core:",
        "Please consult the",
        "wiki.x.org",
        " for help.",
        "Please also check the",
        "Server terminated with",
        "euid != 0",
    };
    if (std::any_of(std::begin(noise), std::end(noise), [&](std::string_view part) {
            return line.find(part) != std::string_view::npos;
        }))
        return false;
    const std::size_t mark = line.find("(EE)");
    const std::string_view text = mark == std::string_view::npos ? line : line.substr(mark + 4);
    return text.find_first_not_of(" \t\r") != std::string_view::npos;
}

void collect(const std::string& path, bool errorsOnly, std::deque<std::string>& lines) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (errorsOnly && line.find("(EE)") == std::string::npos)
            continue;
        if (!worthShowing(line))
            continue;
        // The log puts a time stamp in front of the same line.
        if (line.starts_with('[') && line.find("] ") != std::string::npos)
            line.erase(0, line.find("] ") + 2);
        if (std::find(lines.begin(), lines.end(), line) == lines.end())
            lines.push_back(line);
    }
}

} // namespace

std::string describeServerFailure(const std::string& what, const std::string& outputFile,
                                  const std::string& logFile) {
    std::deque<std::string> errors;
    collect(logFile, true, errors);
    collect(outputFile, true, errors);
    if (errors.empty()) {
        // Not even the server's banner: then whatever ran in its place has something to say.
        collect(outputFile, false, errors);
    }
    std::string text = what;
    for (const Hint& hint : hints) {
        if (std::any_of(errors.begin(), errors.end(), [&](const std::string& line) {
                return line.find(hint.sign) != std::string::npos;
            })) {
            text += " (";
            text += hint.advice;
            text += ")";
            break;
        }
    }
    while (errors.size() > linesShown)
        errors.pop_front();
    for (const std::string& line : errors)
        text += "\n  " + line;
    return text;
}

} // namespace lentora::testdesktop
