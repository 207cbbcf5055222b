#include "desktop/WindowClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace lentora::test {

using x11::XcbPtr;

namespace {

std::uint32_t asValue(int value) {
    return static_cast<std::uint32_t>(value);
}

} // namespace

WindowClient::WindowClient(const std::string& display) {
    std::string error;
    connection_ = x11::Connection::open(display, error);
    if (!connection_)
        ADD_FAILURE() << error;
}

xcb_window_t WindowClient::create(PixelRect geometry, const WindowOptions& options) {
    xcb_connection_t* const c = connection_->get();
    const xcb_window_t window = options.id != 0 ? options.id : xcb_generate_id(c);
    const std::uint32_t overrideRedirect = options.overrideRedirect ? 1 : 0;
    xcb_create_window(
        c, XCB_COPY_FROM_PARENT, window, options.parent != 0 ? options.parent : root(),
        static_cast<std::int16_t>(geometry.x), static_cast<std::int16_t>(geometry.y),
        static_cast<std::uint16_t>(geometry.width), static_cast<std::uint16_t>(geometry.height),
        static_cast<std::uint16_t>(options.border),
        options.inputOnly ? XCB_WINDOW_CLASS_INPUT_ONLY : XCB_WINDOW_CLASS_INPUT_OUTPUT,
        XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
    if (options.mapped)
        map(window);
    return window;
}

xcb_window_t WindowClient::createNamed(const std::string& name, PixelRect geometry,
                                       const WindowOptions& options) {
    WindowOptions unmapped = options;
    unmapped.mapped = false;
    const xcb_window_t window = create(geometry, unmapped);
    setTitle(window, name);
    setClass(window, name + '\0' + name + '\0');
    if (options.mapped)
        map(window);
    return window;
}

void WindowClient::destroy(xcb_window_t window) {
    xcb_destroy_window(connection_->get(), window);
}

void WindowClient::map(xcb_window_t window) {
    xcb_map_window(connection_->get(), window);
}

void WindowClient::unmap(xcb_window_t window) {
    xcb_unmap_window(connection_->get(), window);
}

void WindowClient::configure(xcb_window_t window, std::uint16_t mask,
                             const std::vector<std::uint32_t>& values) {
    xcb_configure_window(connection_->get(), window, mask, values.data());
}

void WindowClient::move(xcb_window_t window, int x, int y) {
    configure(window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {asValue(x), asValue(y)});
}

void WindowClient::resize(xcb_window_t window, int width, int height) {
    configure(window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
              {asValue(width), asValue(height)});
}

void WindowClient::raise(xcb_window_t window) {
    configure(window, XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE});
}

void WindowClient::lower(xcb_window_t window) {
    configure(window, XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_BELOW});
}

void WindowClient::putAbove(xcb_window_t window, xcb_window_t sibling) {
    configure(window, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE,
              {sibling, XCB_STACK_MODE_ABOVE});
}

void WindowClient::reparent(xcb_window_t window, xcb_window_t parent, int x, int y) {
    xcb_reparent_window(connection_->get(), window, parent, static_cast<std::int16_t>(x),
                        static_cast<std::int16_t>(y));
}

xcb_atom_t WindowClient::atom(std::string_view name) {
    const XcbPtr<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection_->get(),
                              xcb_intern_atom(connection_->get(), 0,
                                              static_cast<std::uint16_t>(name.size()), name.data()),
                              nullptr));
    return reply->atom;
}

void WindowClient::setTitle(xcb_window_t window, std::string_view title) {
    setText(window, "_NET_WM_NAME", "UTF8_STRING", title);
}

void WindowClient::setClass(xcb_window_t window, std::string_view bothHalves) {
    setText(window, "WM_CLASS", "STRING", bothHalves);
}

void WindowClient::setText(xcb_window_t window, const char* property, const char* type,
                           std::string_view bytes) {
    xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, window, atom(property),
                        atom(type), 8, static_cast<std::uint32_t>(bytes.size()), bytes.data());
}

void WindowClient::setNumbers(xcb_window_t window, const char* property, const char* type,
                              const std::vector<std::uint32_t>& values) {
    xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, window, atom(property),
                        atom(type), 32, static_cast<std::uint32_t>(values.size()), values.data());
}

void WindowClient::setAtoms(xcb_window_t window, const char* property,
                            const std::vector<const char*>& names) {
    std::vector<std::uint32_t> values;
    for (const char* const name : names)
        values.push_back(atom(name));
    setNumbers(window, property, "ATOM", values);
}

void WindowClient::removeProperty(xcb_window_t window, const char* property) {
    xcb_delete_property(connection_->get(), window, atom(property));
}

void WindowClient::focus(xcb_window_t window) {
    xcb_set_input_focus(connection_->get(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
}

void WindowClient::finish() {
    xcb_connection_t* const c = connection_->get();
    const XcbPtr<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
    }
}

FakeWindowManager::FakeWindowManager(const std::string& display) : WindowClient(display) {
    const std::uint32_t mask =
        XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection().get(), root(), XCB_CW_EVENT_MASK, &mask);
    checkWindow_ = create({-100, -100, 1, 1}, {.overrideRedirect = true});
    setNumbers(checkWindow_, "_NET_SUPPORTING_WM_CHECK", "WINDOW", {checkWindow_});
    setNumbers(root(), "_NET_SUPPORTING_WM_CHECK", "WINDOW", {checkWindow_});
    publishList();
    finish();
}

xcb_window_t FakeWindowManager::manage(xcb_window_t client, PixelRect geometry, bool withWrapper) {
    constexpr int left = edge + invisibleEdge;
    constexpr int top = titleBar + invisibleEdge;
    const xcb_window_t frame = create({geometry.x - left, geometry.y - top,
                                       geometry.width + 2 * left, geometry.height + top + left},
                                      {.overrideRedirect = true, .mapped = false});
    // What a title bar and its buttons are made of.
    for (int part = 0; part < frameParts; ++part)
        create({part, part, 10, 10}, {.parent = frame});
    xcb_window_t parent = frame;
    int x = left;
    int y = top;
    if (withWrapper) {
        parent = create({left, top, geometry.width, geometry.height}, {.parent = frame});
        x = y = 0;
    }
    setNumbers(client, "_NET_FRAME_EXTENTS", "CARDINAL", {edge, edge, titleBar, edge});
    resize(client, geometry.width, geometry.height);
    reparent(client, parent, x, y);
    map(client);
    map(frame);
    clients_.push_back(client);
    publishList();
    finish();
    return frame;
}

void FakeWindowManager::manageBare(xcb_window_t client) {
    map(client);
    clients_.push_back(client);
    publishList();
    finish();
}

void FakeWindowManager::release(xcb_window_t client, xcb_window_t frame) {
    reparent(client, root(), 0, 0);
    destroy(frame);
    std::erase(clients_, client);
    publishList();
    finish();
}

void FakeWindowManager::setActive(xcb_window_t client) {
    setNumbers(root(), "_NET_ACTIVE_WINDOW", "WINDOW", {client});
    finish();
}

void FakeWindowManager::setCurrentDesktop(std::uint32_t desktop) {
    setNumbers(root(), "_NET_CURRENT_DESKTOP", "CARDINAL", {desktop});
    finish();
}

void FakeWindowManager::forgetLists() {
    for (const char* const word :
         {"_NET_SUPPORTING_WM_CHECK", "_NET_CLIENT_LIST", "_NET_CLIENT_LIST_STACKING"})
        removeProperty(root(), word);
    for (const std::uint32_t client : clients_)
        setNumbers(client, "WM_STATE", "WM_STATE", {1, 0});
    finish();
}

void FakeWindowManager::publishList() {
    setNumbers(root(), "_NET_CLIENT_LIST_STACKING", "WINDOW", clients_);
    setNumbers(root(), "_NET_CLIENT_LIST", "WINDOW", clients_);
}

} // namespace lentora::test
