// The parts of the X Input Extension, version 2.4, that libxcb does not name.
#pragma once

#include <xcb/xinput.h>

#include <cstdint>

namespace lentora::x11::xi {

inline constexpr std::uint16_t majorVersion = 2;
/// 2.4 brings touchpad gestures.
inline constexpr std::uint16_t gestureMinorVersion = 4;
/// 2.1 brings raw events while another client has a grab.
inline constexpr std::uint16_t leastMinorVersion = 1;

/// Input can be watched with this version.
constexpr bool isEnough(unsigned major, unsigned minor) {
    return major > majorVersion || (major == majorVersion && minor >= leastMinorVersion);
}

inline constexpr xcb_input_device_id_t allDevices = XCB_INPUT_DEVICE_ALL;
inline constexpr xcb_input_device_id_t allMasterDevices = XCB_INPUT_DEVICE_ALL_MASTER;

/// The class of a device that reports gestures.
inline constexpr std::uint16_t gestureClass = 9;

/// The bit of an event type in an event mask.
constexpr std::uint32_t maskOf(unsigned eventType) {
    return 1U << eventType;
}

/// A fixed-point number of the protocol: 16 bits before the point and 16 after it.
constexpr double toDouble(xcb_input_fp1616_t value) {
    return static_cast<double>(value) / 65536.0;
}

/// Set in the flags of a key press that the server repeated.
inline constexpr std::uint32_t keyRepeat = 1U << 16;

/// Set in the flags of the end of a pinch that was broken off.
inline constexpr std::uint32_t pinchCancelled = 1U << 0;

} // namespace lentora::x11::xi
