#pragma once

#include "testdesktop/Keys.h"

#include <bitset>
#include <initializer_list>
#include <memory>
#include <string>

namespace lentora::testdesktop {

class DeviceConnection;

/// Which of the two pointer devices an action comes from.
enum class PointerDevice {
    Mouse,
    Touchpad,
};

/// The hands at the test desktop: a keyboard, a mouse and (unless left out) a touchpad.
///
/// The server takes these for real devices: events have passed through all of its input handling,
/// with raw events, grabs, modifiers and auto-repeat, and carry the devices' own ids.
///
/// Every verb returns when the server has processed the event, so whatever it had to send to its
/// clients has been sent. A verb returns false if nothing happened: the server is gone, the device
/// is not there, or hands cannot do that (press a key that is down, move a pinch that has not
/// begun). One thread at a time.
class InputInjector {
public:
    /// Where the server's driver made its sockets; `touchpad` is empty if there is none.
    struct Sockets {
        std::string keyboard;
        std::string mouse;
        std::string touchpad;
    };

    /// Connects to all devices; returns nothing and says why in `error` if one refuses.
    static std::unique_ptr<InputInjector> connect(const Sockets& sockets, std::string& error);

    InputInjector(const InputInjector&) = delete;
    InputInjector& operator=(const InputInjector&) = delete;
    ~InputInjector();

    /// Keys by X key code, 8 to 255. A key that stays down repeats like on any keyboard.
    bool keyDown(int xKeyCode);
    bool keyUp(int xKeyCode);

    bool press(Key key) { return keyDown(keyCode(key)); }
    bool release(Key key) { return keyUp(keyCode(key)); }

    /// Press and release.
    bool tap(Key key) { return press(key) && release(key); }

    /// Buttons 1 (left), 2 (middle) and 3 (right); 8 and 9 do not exist on these devices.
    bool buttonDown(int button, PointerDevice device = PointerDevice::Mouse);
    bool buttonUp(int button, PointerDevice device = PointerDevice::Mouse);

    /// Button down and up.
    bool click(int button, PointerDevice device = PointerDevice::Mouse);

    /// Wheel notches, one event each; positive is up (button 4), negative down (button 5).
    /// Sent the way old drivers do, as a press and release of the wheel's button; the server makes
    /// a step of the scroll axis out of it as well.
    bool wheel(int notches, PointerDevice device = PointerDevice::Mouse);

    /// Moves the scroll axes like current drivers do, in notches (fractions allowed; positive is
    /// right and down). The server adds wheel button events for every whole notch.
    bool scroll(double rightNotches, double downNotches,
                PointerDevice device = PointerDevice::Touchpad);

    /// Puts the pointer on a pixel of the root window.
    bool movePointer(int x, int y);

    /// Moves the pointer by so many pixels, unaccelerated: what a mouse really reports.
    bool movePointerBy(int dx, int dy, PointerDevice device = PointerDevice::Mouse);

    /// A pinch of two fingers on the touchpad. `scale` is relative to the begin, where it is 1.0:
    /// above means fingers apart. `angle` is in degrees clockwise since the last event.
    bool pinchBegin(double scale = 1.0);
    bool pinchUpdate(double scale, double angle = 0.0);
    bool pinchEnd(bool cancelled = false);

    /// A whole pinch: begins with the first scale, updates with the others, ends.
    bool pinch(std::initializer_list<double> scales);

    /// Lets go of everything that is still held: keys, buttons, a pinch.
    bool releaseAll();

private:
    using Held = std::bitset<256>;

    struct Pointer {
        std::unique_ptr<DeviceConnection> connection;
        Held buttons;
    };

    InputInjector();

    Pointer& pointer(PointerDevice device);
    bool postKey(int xKeyCode, bool down);
    bool postButton(int button, bool down, PointerDevice device);
    bool postPinch(int type, double scale, double angle, bool cancelled);

    std::unique_ptr<DeviceConnection> keyboard_;
    Held keys_;
    Pointer mouse_;
    Pointer touchpad_;
    bool pinching_ = false;
    double scale_ = 1.0;
};

} // namespace lentora::testdesktop
