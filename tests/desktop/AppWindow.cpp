#include "desktop/AppWindow.h"

#include "platform/x11/XInput.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <array>

namespace lentora::test {

namespace {

using x11::XcbPtr;
namespace xi = x11::xi;

constexpr unsigned modifierMask = 0xFF;

void roundTrip(xcb_connection_t* c) {
    const XcbPtr<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

} // namespace

AppWindow::AppWindow(const std::string& display, Protocol protocol) {
    std::string error;
    connection_ = x11::Connection::open(display, error);
    if (!connection_) {
        ADD_FAILURE() << error;
        return;
    }
    xcb_connection_t* c = connection_->get();
    xinputOpcode_ = connection_->extension(xcb_input_id)->majorOpcode;
    const XcbPtr<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 4), nullptr));

    const xcb_window_t window = xcb_generate_id(c);
    const std::uint32_t coreMask =
        protocol == Protocol::core
            ? XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE | XCB_EVENT_MASK_BUTTON_PRESS |
                  XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_POINTER_MOTION
            : 0U;
    const std::array<std::uint32_t, 2> values{1, coreMask};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, connection_->root(), 0, 0, 1920, 1080, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection{{xi::allMasterDevices, 1},
                xi::maskOf(XCB_INPUT_GESTURE_PINCH_BEGIN) |
                    xi::maskOf(XCB_INPUT_GESTURE_PINCH_UPDATE) |
                    xi::maskOf(XCB_INPUT_GESTURE_PINCH_END)};
    if (protocol == Protocol::xinput2) {
        selection.mask |= xi::maskOf(XCB_INPUT_KEY_PRESS) | xi::maskOf(XCB_INPUT_KEY_RELEASE) |
                          xi::maskOf(XCB_INPUT_BUTTON_PRESS) |
                          xi::maskOf(XCB_INPUT_BUTTON_RELEASE) | xi::maskOf(XCB_INPUT_MOTION);
    }
    xcb_input_xi_select_events(c, window, 1, &selection.head);
    xcb_map_window(c, window);
    roundTrip(c);
    xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    takeEvents();
}

std::vector<std::string> AppWindow::takeEvents() {
    roundTrip(connection_->get());
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection_->get())})
        note(*event);
    return std::exchange(events_, {});
}

bool AppWindow::awaitEvent() {
    constexpr int patienceMs = 10'000;
    while (events_.empty()) {
        if (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection_->get())}) {
            note(*event);
            continue;
        }
        pollfd source{connection_->fileDescriptor(), POLLIN, 0};
        if (::poll(&source, 1, patienceMs) != 1)
            return false;
    }
    return true;
}

bool AppWindow::forgetHeldKeys() {
    xcb_connection_t* c = connection_->get();
    const XcbPtr<xcb_input_xi_query_device_reply_t> devices(
        xcb_input_xi_query_device_reply(c, xcb_input_xi_query_device(c, xi::allDevices), nullptr));
    bool all = true;
    auto infos = xcb_input_xi_query_device_infos_iterator(devices.get());
    for (; infos.rem > 0; xcb_input_xi_device_info_next(&infos)) {
        // The device that XTEST types on cannot be taken away.
        const std::string name(xcb_input_xi_device_info_name(infos.data), infos.data->name_len);
        if (infos.data->type != XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD ||
            name.find("XTEST") != std::string::npos)
            continue;
        // A change is its header and what belongs to its kind.
        struct {
            std::uint16_t type, length;
            xcb_input_device_id_t device, master;
        } detach{XCB_INPUT_HIERARCHY_CHANGE_TYPE_DETACH_SLAVE, 2, infos.data->deviceid, 0},
            attach{XCB_INPUT_HIERARCHY_CHANGE_TYPE_ATTACH_SLAVE, 2, infos.data->deviceid,
                   infos.data->attachment};
        for (const auto* change : {&detach, &attach}) {
            const XcbPtr<xcb_generic_error_t> error(xcb_request_check(
                c, xcb_input_xi_change_hierarchy_checked(
                       c, 1, reinterpret_cast<const xcb_input_hierarchy_change_t*>(change))));
            all = all && !error;
        }
    }
    return all;
}

void AppWindow::note(const std::string& what, unsigned state) {
    const unsigned modifiers = state & modifierMask;
    events_.push_back(modifiers == 0 ? what : what + " state " + std::to_string(modifiers));
}

void AppWindow::note(const xcb_generic_event_t& event) {
    const auto& input = reinterpret_cast<const xcb_key_press_event_t&>(event);
    const std::string detail = std::to_string(input.detail);
    switch (event.response_type & 0x7F) {
    case XCB_KEY_PRESS:
        return note("key " + detail + " down", input.state);
    case XCB_KEY_RELEASE:
        return note("key " + detail + " up", input.state);
    case XCB_BUTTON_PRESS:
        return note("button " + detail + " down", input.state);
    case XCB_BUTTON_RELEASE:
        return note("button " + detail + " up", input.state);
    case XCB_MOTION_NOTIFY:
        return note("motion", input.state);
    case XCB_GE_GENERIC:
        return noteInput(reinterpret_cast<const xcb_ge_generic_event_t&>(event));
    default:
        return;
    }
}

void AppWindow::noteInput(const xcb_ge_generic_event_t& event) {
    if (event.extension != xinputOpcode_)
        return;
    const auto& input = reinterpret_cast<const xcb_input_key_press_event_t&>(event);
    const std::string detail = std::to_string(input.detail);
    switch (event.event_type) {
    case XCB_INPUT_KEY_PRESS:
        return note("key " + detail + " down", input.mods.effective);
    case XCB_INPUT_KEY_RELEASE:
        return note("key " + detail + " up", input.mods.effective);
    case XCB_INPUT_BUTTON_PRESS:
        return note("button " + detail + " down", input.mods.effective);
    case XCB_INPUT_BUTTON_RELEASE:
        return note("button " + detail + " up", input.mods.effective);
    case XCB_INPUT_MOTION:
        return note("motion", input.mods.effective);
    case XCB_INPUT_GESTURE_PINCH_BEGIN:
        return note("pinch begin", 0);
    case XCB_INPUT_GESTURE_PINCH_UPDATE:
        return note("pinch update", 0);
    case XCB_INPUT_GESTURE_PINCH_END:
        return note("pinch end", 0);
    default:
        return;
    }
}

} // namespace lentora::test
