#pragma once

#include <cstdint>

namespace lentora::testdesktop {

/// Keys of the test keyboard by their place on an ordinary PC keyboard.
///
/// The values are X key codes as every evdev or libinput keyboard reports them (kernel code + 8).
/// They name places, not letters: what a key types is up to the server's layout, which is "us".
enum class Key : std::uint8_t {
    Escape = 9,
    Digit1 = 10,
    Digit2 = 11,
    Digit3 = 12,
    Digit4 = 13,
    Digit5 = 14,
    Digit6 = 15,
    Digit7 = 16,
    Digit8 = 17,
    Digit9 = 18,
    Digit0 = 19,
    Minus = 20,
    Equal = 21,
    BackSpace = 22,
    Tab = 23,
    Q = 24,
    W = 25,
    E = 26,
    R = 27,
    T = 28,
    Y = 29,
    U = 30,
    I = 31,
    O = 32,
    P = 33,
    Return = 36,
    ControlL = 37,
    A = 38,
    S = 39,
    D = 40,
    F = 41,
    G = 42,
    H = 43,
    J = 44,
    K = 45,
    L = 46,
    ShiftL = 50,
    Z = 52,
    X = 53,
    C = 54,
    V = 55,
    B = 56,
    N = 57,
    M = 58,
    ShiftR = 62,
    AltL = 64,
    Space = 65,
    CapsLock = 66,
    F1 = 67,
    F2 = 68,
    F3 = 69,
    F4 = 70,
    F5 = 71,
    F6 = 72,
    F7 = 73,
    F8 = 74,
    F9 = 75,
    F10 = 76,
    NumLock = 77,
    ScrollLock = 78,
    F11 = 95,
    F12 = 96,
    ControlR = 105,
    AltR = 108,
    Home = 110,
    Up = 111,
    PageUp = 112,
    Left = 113,
    Right = 114,
    End = 115,
    Down = 116,
    PageDown = 117,
    Insert = 118,
    Delete = 119,
    SuperL = 133,
    SuperR = 134,
    Menu = 135,
};

/// The X key code of a key.
constexpr int keyCode(Key key) {
    return static_cast<int>(key);
}

} // namespace lentora::testdesktop
