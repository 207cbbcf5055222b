#include "testdesktop/ServerConfig.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace lentora::testdesktop {
namespace {

std::string modeName(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

/// A 60 Hz mode with the short blanking times of flat panels (VESA CVT, reduced blanking): it
/// exists for every size, and a 3840x2160 one stays within what one link of a real panel carries.
std::string modeline(int width, int height) {
    constexpr double refresh = 60.0;
    constexpr double minBlankMicroseconds = 460.0;
    constexpr int horizontalBlank = 160;
    constexpr int frontPorch = 3;
    constexpr int sync = 5;
    constexpr int minBackPorch = 6;

    const double lineMicroseconds = (1e6 / refresh - minBlankMicroseconds) / height;
    const int blankLines = std::max(static_cast<int>(minBlankMicroseconds / lineMicroseconds) + 1,
                                    frontPorch + sync + minBackPorch);
    const int totalWidth = width + horizontalBlank;
    const int totalHeight = height + blankLines;
    const double clock = std::floor(refresh * totalWidth * totalHeight / 1e6 * 4) / 4;

    char text[160];
    std::snprintf(text, sizeof text,
                  "  Modeline \"%s\" %.2f %d %d %d %d %d %d %d %d +hsync -vsync\n",
                  modeName(width, height).c_str(), clock, width, width + 48, width + 80, totalWidth,
                  height, height + frontPorch, height + frontPorch + sync, totalHeight);
    return text;
}

std::string inputDevice(const std::string& name, const std::string& type, const std::string& socket,
                        const std::string& options) {
    return "Section \"InputDevice\"\n  Identifier \"" + name +
           "\"\n  Driver \"inputtest\"\n  Option \"DeviceType\" \"" + type +
           "\"\n  Option \"SocketPath\" \"" + socket + "\"\n" + options + "EndSection\n";
}

// A relative movement must go exactly as far as it says.
constexpr const char* pointerOptions = "  Option \"AccelerationProfile\" \"-1\"\n";

// The server's own default rules number the keys as keyboards of the last century did; every
// Linux input driver uses these. The rest keeps the host's settings out.
constexpr const char* keyboardOptions = "  Option \"XkbRules\" \"evdev\"\n"
                                        "  Option \"XkbModel\" \"pc105\"\n"
                                        "  Option \"XkbLayout\" \"us\"\n";

} // namespace

std::string serverConfigText(const ServerConfig& config) {
    const bool touchpad = !config.touchpadSocket.empty();

    // No devices and no graphics cards but our own. GLX is left out because loading a software
    // renderer costs three times as much as everything else the server does to start.
    std::string text = "Section \"ServerFlags\"\n"
                       "  Option \"AutoAddDevices\" \"false\"\n"
                       "  Option \"AutoAddGPU\" \"false\"\n"
                       "  Option \"AutoBindGPU\" \"false\"\n"
                       "EndSection\n"
                       "Section \"Module\"\n  Disable \"glx\"\nEndSection\n";
    if (!config.withoutExtension.empty()) {
        text += "Section \"Extensions\"\n  Option \"" + config.withoutExtension +
                "\" \"Disable\"\nEndSection\n";
    }
    text += inputDevice("Test keyboard", "Keyboard", config.keyboardSocket, keyboardOptions);
    text += inputDevice("Test mouse", "Pointer", config.mouseSocket, pointerOptions);
    if (touchpad) {
        text +=
            inputDevice("Test touchpad", "PointerGesture", config.touchpadSocket, pointerOptions);
    }

    // All outputs share one piece of memory of this size. The driver wants it larger than the
    // screen; pages nobody draws on are never really taken.
    const std::int64_t bytes = 4LL * std::max(config.virtualWidth, config.screenWidth) *
                               std::max(config.virtualHeight, config.screenHeight);
    text += "Section \"Device\"\n  Identifier \"Card\"\n  Driver \"dummy\"\n  DacSpeed 4000\n"
            "  VideoRam " +
            std::to_string(bytes / 1024 + 1024) + "\nEndSection\n";

    // The first mode listed is the one the server starts with; the second one lets every output
    // that is plugged in later be a 4K screen.
    const std::string name = modeName(config.screenWidth, config.screenHeight);
    text += "Section \"Monitor\"\n  Identifier \"Monitor\"\n"
            "  HorizSync 5.0-1000.0\n  VertRefresh 5.0-200.0\n"
            "  Option \"ReducedBlanking\" \"true\"\n" +
            modeline(config.screenWidth, config.screenHeight);
    if (name != modeName(3840, 2160))
        text += modeline(3840, 2160);
    text += "EndSection\n"
            "Section \"Screen\"\n  Identifier \"Screen\"\n  Device \"Card\"\n"
            "  Monitor \"Monitor\"\n  DefaultDepth 24\n"
            "  SubSection \"Display\"\n    Depth 24\n    Modes \"" +
            name + "\" \"3840x2160\"\n  EndSubSection\nEndSection\n";

    text += std::string("Section \"ServerLayout\"\n  Identifier \"") + serverLayoutName +
            "\"\n  Screen \"Screen\"\n"
            "  InputDevice \"Test keyboard\" \"CoreKeyboard\"\n"
            "  InputDevice \"Test mouse\" \"CorePointer\"\n";
    if (touchpad)
        text += "  InputDevice \"Test touchpad\" \"SendCoreEvents\"\n";
    return text + "EndSection\n";
}

} // namespace lentora::testdesktop
