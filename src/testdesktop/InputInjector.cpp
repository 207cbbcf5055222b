#include "testdesktop/InputInjector.h"

#include "testdesktop/DeviceConnection.h"

#include <X11/extensions/XI2.h>
#include <xorg/xf86-input-inputtest-protocol.h>

#include <cstdlib>

namespace lentora::testdesktop {
namespace {

constexpr int unusedKeyCode = 8;
constexpr int wheelUpButton = 4;
constexpr int wheelDownButton = 5;

// Axes of the driver's pointer devices.
constexpr int axisX = 0;
constexpr int axisY = 1;
constexpr int axisScrollRight = 2;
constexpr int axisScrollDown = 3;
constexpr double scrollUnitsPerNotch = 120.0;

void setAxis(xf86ITValuatorData& data, int axis, double value) {
    data.mask[axis / 8] |= static_cast<std::uint8_t>(1U << (axis % 8));
    data.valuators[axis] = value;
}

xf86ITEventKey keyEvent(int xKeyCode, bool down) {
    xf86ITEventKey event{};
    event.header.length = sizeof event;
    event.header.type = XF86IT_EVENT_KEY;
    event.key_code = xKeyCode;
    event.is_press = down ? 1 : 0;
    return event;
}

xf86ITEventMotion motion(bool absolute, int firstAxis, double first, double second) {
    xf86ITEventMotion event{};
    event.header.length = sizeof event;
    event.header.type = XF86IT_EVENT_MOTION;
    event.is_absolute = absolute ? 1 : 0;
    setAxis(event.valuators, firstAxis, first);
    setAxis(event.valuators, firstAxis + 1, second);
    return event;
}

static_assert(axisY == axisX + 1 && axisScrollDown == axisScrollRight + 1);

} // namespace

InputInjector::InputInjector() = default;
InputInjector::~InputInjector() = default;

std::unique_ptr<InputInjector> InputInjector::connect(const Sockets& sockets, std::string& error) {
    std::unique_ptr<InputInjector> injector(new InputInjector());
    injector->keyboard_ = DeviceConnection::open(sockets.keyboard, error);
    if (!injector->keyboard_)
        return nullptr;
    injector->mouse_.connection = DeviceConnection::open(sockets.mouse, error);
    if (!injector->mouse_.connection)
        return nullptr;
    if (!sockets.touchpad.empty()) {
        injector->touchpad_.connection = DeviceConnection::open(sockets.touchpad, error);
        if (!injector->touchpad_.connection)
            return nullptr;
    }
    return injector;
}

InputInjector::Pointer& InputInjector::pointer(PointerDevice device) {
    return device == PointerDevice::Mouse ? mouse_ : touchpad_;
}

bool InputInjector::keyDown(int xKeyCode) {
    return postKey(xKeyCode, true);
}

bool InputInjector::keyUp(int xKeyCode) {
    return postKey(xKeyCode, false);
}

bool InputInjector::postKey(int xKeyCode, bool down) {
    if (xKeyCode < 8 || xKeyCode > 255 || keys_[static_cast<std::size_t>(xKeyCode)] == down)
        return false;
    // A client may have faked this key down on this very device (XTEST can do that). The server
    // then swallows the press, and the release of a key that no keyboard has helps it to answer.
    if (!keyboard_->post(keyEvent(xKeyCode, down), keyEvent(unusedKeyCode, false)))
        return false;
    keys_[static_cast<std::size_t>(xKeyCode)] = down;
    return true;
}

bool InputInjector::buttonDown(int button, PointerDevice device) {
    return postButton(button, true, device);
}

bool InputInjector::buttonUp(int button, PointerDevice device) {
    return postButton(button, false, device);
}

bool InputInjector::click(int button, PointerDevice device) {
    return buttonDown(button, device) && buttonUp(button, device);
}

bool InputInjector::postButton(int button, bool down, PointerDevice device) {
    Pointer& source = pointer(device);
    if (!source.connection || button < 1 || button > 7 ||
        source.buttons[static_cast<std::size_t>(button)] == down)
        return false;
    xf86ITEventButton event{};
    event.header.length = sizeof event;
    event.header.type = XF86IT_EVENT_BUTTON;
    event.button = button;
    event.is_press = down ? 1 : 0;
    if (!source.connection->post(event))
        return false;
    source.buttons[static_cast<std::size_t>(button)] = down;
    return true;
}

bool InputInjector::wheel(int notches, PointerDevice device) {
    const int button = notches > 0 ? wheelUpButton : wheelDownButton;
    for (int left = std::abs(notches); left > 0; --left)
        if (!click(button, device))
            return false;
    return true;
}

bool InputInjector::scroll(double rightNotches, double downNotches, PointerDevice device) {
    Pointer& source = pointer(device);
    return source.connection && source.connection->post(motion(false, axisScrollRight,
                                                               rightNotches * scrollUnitsPerNotch,
                                                               downNotches * scrollUnitsPerNotch));
}

bool InputInjector::movePointer(int x, int y) {
    Pointer& source = pointer(PointerDevice::Mouse);
    return source.connection && source.connection->post(motion(true, axisX, x, y));
}

bool InputInjector::movePointerBy(int dx, int dy, PointerDevice device) {
    Pointer& source = pointer(device);
    return source.connection && source.connection->post(motion(false, axisX, dx, dy));
}

bool InputInjector::pinchBegin(double scale) {
    if (pinching_ || !postPinch(XI_GesturePinchBegin, scale, 0.0, false))
        return false;
    pinching_ = true;
    return true;
}

bool InputInjector::pinchUpdate(double scale, double angle) {
    return pinching_ && postPinch(XI_GesturePinchUpdate, scale, angle, false);
}

bool InputInjector::pinchEnd(bool cancelled) {
    if (!pinching_ || !postPinch(XI_GesturePinchEnd, scale_, 0.0, cancelled))
        return false;
    pinching_ = false;
    return true;
}

bool InputInjector::pinch(std::initializer_list<double> scales) {
    if (scales.size() == 0 || !pinchBegin(*scales.begin()))
        return false;
    for (const double* scale = scales.begin() + 1; scale != scales.end(); ++scale)
        if (!pinchUpdate(*scale))
            return false;
    return pinchEnd();
}

bool InputInjector::postPinch(int type, double scale, double angle, bool cancelled) {
    if (!touchpad_.connection)
        return false;
    xf86ITEventGesturePinch event{};
    event.header.length = sizeof event;
    event.header.type = XF86IT_EVENT_GESTURE_PINCH;
    event.gesture_type = static_cast<std::uint16_t>(type);
    event.num_touches = 2;
    event.flags = cancelled ? XIGesturePinchEventCancelled : 0;
    event.scale = scale;
    event.delta_angle = angle;
    if (!touchpad_.connection->post(event))
        return false;
    scale_ = scale;
    return true;
}

bool InputInjector::releaseAll() {
    bool done = !pinching_ || pinchEnd();
    for (int button = 1; button <= 7; ++button) {
        for (const PointerDevice device : {PointerDevice::Mouse, PointerDevice::Touchpad})
            if (pointer(device).buttons[static_cast<std::size_t>(button)])
                done = buttonUp(button, device) && done;
    }
    for (int code = 8; code < 256; ++code)
        if (keys_[static_cast<std::size_t>(code)])
            done = keyUp(code) && done;
    return done;
}

} // namespace lentora::testdesktop
