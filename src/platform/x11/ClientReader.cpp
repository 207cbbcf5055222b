#include "platform/x11/ClientReader.h"

#include "platform/x11/Properties.h"

#include <xcb/res.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace lentora::x11 {

namespace {

// How much of a property is asked for, in units of four bytes.
constexpr std::uint32_t longestTitle = 256;
constexpr std::uint32_t longestClass = 64;
constexpr std::uint32_t mostAtoms = 32;

// Windows whose processes are asked for with one request.
constexpr std::size_t ownersAtOnce = 1000;

struct ClientProperty {
    Aspects aspect;
    xcb_atom_t name;
    std::uint32_t length;
    void (*take)(ClientProperties& properties, const PropertyValue& value, const Atoms& atoms);
};

std::array<ClientProperty, 8> clientProperties(const Atoms& atoms) {
    return {{
        {aspect::title, atoms[Atom::netWmName], longestTitle,
         [](auto& properties, const auto& value, const auto& names) {
             properties.title = titleOf(value, names);
         }},
        {aspect::applicationClass, XCB_ATOM_WM_CLASS, longestClass,
         [](auto& properties, const auto& value, const auto&) {
             auto [instanceName, className] = applicationClassOf(value);
             properties.instanceName = std::move(instanceName);
             properties.className = std::move(className);
         }},
        {aspect::type, atoms[Atom::netWmWindowType], mostAtoms,
         [](auto& properties, const auto& value, const auto& names) {
             properties.type = windowTypeOf(value, names);
         }},
        {aspect::state, atoms[Atom::netWmState], mostAtoms,
         [](auto& properties, const auto& value, const auto& names) {
             properties.state = windowStateOf(value, names);
         }},
        {aspect::desktop, atoms[Atom::netWmDesktop], 1,
         [](auto& properties, const auto& value, const auto&) {
             properties.desktop = value.firstValue(XCB_ATOM_CARDINAL);
         }},
        {aspect::opacity, atoms[Atom::netWmWindowOpacity], 1,
         [](auto& properties, const auto& value, const auto&) {
             properties.opacity = opacityOf(value);
         }},
        {aspect::frameExtents, atoms[Atom::netFrameExtents], 4,
         [](auto& properties, const auto& value, const auto&) {
             properties.frame = extentsOf(value);
         }},
        {aspect::shadowExtents, atoms[Atom::gtkFrameExtents], 4,
         [](auto& properties, const auto& value, const auto&) {
             properties.shadow = extentsOf(value);
         }},
    }};
}

} // namespace

ClientReader::ClientReader(const Connection& connection, const Atoms& atoms)
    : connection_(connection), atoms_(atoms) {
    if (!connection.extension(xcb_res_id))
        return;
    const XcbPtr<xcb_res_query_version_reply_t> version(xcb_res_query_version_reply(
        connection.get(), xcb_res_query_version(connection.get(), 1, 2), nullptr));
    knowsProcesses_ = version && (version->server_major > 1 || version->server_minor >= 2);
}

void ClientReader::read(WindowTracker& tracker, std::vector<const TrackedWindow*> windows) {
    std::erase_if(windows, [](const TrackedWindow* window) {
        return (window->stale & aspect::ofClient) == 0;
    });
    readOwners(tracker, windows);
    readGeometries(tracker, windows);
    readProperties(tracker, windows);
}

void ClientReader::readProperties(WindowTracker& tracker,
                                  const std::vector<const TrackedWindow*>& windows) {
    xcb_connection_t* const c = connection_.get();
    const auto properties = clientProperties(atoms_);
    std::vector<PropertyQuestion> questions;
    for (const TrackedWindow* const window : windows) {
        for (const ClientProperty& property : properties) {
            if ((window->stale & property.aspect) == 0)
                continue;
            questions.push_back({{window->id, window->generation},
                                 property.aspect,
                                 xcb_get_property(c, 0, window->client, property.name,
                                                  XCB_GET_PROPERTY_TYPE_ANY, 0, property.length)});
        }
    }
    std::vector<Key> untitled;
    roundTrips_ += questions.empty() ? 0 : 1;
    for (const PropertyQuestion& question : questions) {
        const XcbPtr<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(c, question.cookie, nullptr));
        TrackedWindow* const window =
            tracker.reading(question.key.id, question.key.generation, question.aspect);
        if (window == nullptr)
            continue;
        const auto* const property =
            std::ranges::find(properties, question.aspect, &ClientProperty::aspect);
        property->take(window->properties, PropertyValue(reply.get()), atoms_);
        if (question.aspect == aspect::title && window->properties.title.empty())
            untitled.push_back(question.key);
    }
    readPlainTitles(tracker, untitled);
}

// Old programs have only the title of ICCCM.
void ClientReader::readPlainTitles(WindowTracker& tracker, const std::vector<Key>& keys) {
    xcb_connection_t* const c = connection_.get();
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const Key& key : keys) {
        const TrackedWindow* const window = tracker.find(key.id);
        cookies.push_back(xcb_get_property(c, 0, window->client, XCB_ATOM_WM_NAME,
                                           XCB_GET_PROPERTY_TYPE_ANY, 0, longestTitle));
    }
    roundTrips_ += cookies.empty() ? 0 : 1;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const XcbPtr<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(c, cookies[i], nullptr));
        if (TrackedWindow* const window =
                tracker.reading(keys[i].id, keys[i].generation, aspect::title))
            window->properties.title = titleOf(PropertyValue(reply.get()), atoms_);
    }
}

void ClientReader::readGeometries(WindowTracker& tracker,
                                  const std::vector<const TrackedWindow*>& windows) {
    xcb_connection_t* const c = connection_.get();
    struct Question {
        Key key;
        int border;
        xcb_get_geometry_cookie_t size;
        xcb_translate_coordinates_cookie_t place;
    };
    std::vector<Question> questions;
    for (const TrackedWindow* const window : windows) {
        if (window->isFramed() && (window->stale & aspect::clientGeometry) != 0) {
            questions.push_back({{window->id, window->generation},
                                 window->placement.border,
                                 xcb_get_geometry(c, window->client),
                                 xcb_translate_coordinates(c, window->client, window->id, 0, 0)});
        }
    }
    roundTrips_ += questions.empty() ? 0 : 1;
    for (const Question& question : questions) {
        const XcbPtr<xcb_get_geometry_reply_t> size(
            xcb_get_geometry_reply(c, question.size, nullptr));
        const XcbPtr<xcb_translate_coordinates_reply_t> place(
            xcb_translate_coordinates_reply(c, question.place, nullptr));
        TrackedWindow* const window =
            tracker.reading(question.key.id, question.key.generation, aspect::clientGeometry);
        if (window != nullptr && size && place) {
            window->clientGeometry = {place->dst_x + question.border,
                                      place->dst_y + question.border, size->width, size->height};
        }
    }
}

// The server knows which process is at the other end of a connection, whatever the client says.
// One on another machine has no process here: it is told from others by minus its client number.
void ClientReader::readOwners(WindowTracker& tracker,
                              const std::vector<const TrackedWindow*>& windows) {
    const std::uint32_t idMask = xcb_get_setup(connection_.get())->resource_id_mask;
    std::vector<const TrackedWindow*> asked;
    std::vector<WindowId> clients;
    for (const TrackedWindow* const window : windows) {
        if ((window->stale & aspect::owner) == 0)
            continue;
        // A client is asked for its owner once, when it is new to us.
        selectEvents(*window);
        asked.push_back(window);
        clients.push_back(window->client);
    }
    const auto processes = processesOf(clients);
    for (const TrackedWindow* const window : asked) {
        const std::uint32_t base = window->client & ~idMask;
        const std::uint32_t clientNumber = base / (idMask + 1);
        const auto process = processes.find(base);
        tracker.reading(window->id, window->generation, aspect::owner)->properties.pid =
            process != processes.end() && process->second > 0 ? process->second
                                                              : -static_cast<int>(clientNumber);
    }
}

// Before anything is read, so that no change is lost between.
void ClientReader::selectEvents(const TrackedWindow& window) {
    const std::uint32_t events =
        XCB_EVENT_MASK_PROPERTY_CHANGE |
        (window.isFramed() ? XCB_EVENT_MASK_STRUCTURE_NOTIFY : XCB_EVENT_MASK_NO_EVENT);
    xcb_change_window_attributes(connection_.get(), window.client, XCB_CW_EVENT_MASK, &events);
}

// By the part of a window's number that all windows of a connection have in common.
std::unordered_map<std::uint32_t, int>
ClientReader::processesOf(const std::vector<WindowId>& clients) {
    std::unordered_map<std::uint32_t, int> processes;
    if (!knowsProcesses_ || clients.empty())
        return processes;
    xcb_connection_t* const c = connection_.get();
    const std::uint32_t idMask = xcb_get_setup(c)->resource_id_mask;
    std::vector<xcb_res_client_id_spec_t> specs;
    specs.reserve(clients.size());
    for (const WindowId client : clients)
        specs.push_back({client, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    std::vector<xcb_res_query_client_ids_cookie_t> cookies;
    for (std::size_t i = 0; i < specs.size(); i += ownersAtOnce) {
        cookies.push_back(xcb_res_query_client_ids(
            c, static_cast<std::uint32_t>(std::min(ownersAtOnce, specs.size() - i)), &specs[i]));
    }
    ++roundTrips_;
    for (const auto cookie : cookies) {
        const XcbPtr<xcb_res_query_client_ids_reply_t> reply(
            xcb_res_query_client_ids_reply(c, cookie, nullptr));
        if (!reply)
            continue;
        auto ids = xcb_res_query_client_ids_ids_iterator(reply.get());
        for (; ids.rem > 0; xcb_res_client_id_value_next(&ids)) {
            if (ids.data->spec.mask == XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID &&
                xcb_res_client_id_value_value_length(ids.data) > 0)
                processes[ids.data->spec.client & ~idMask] =
                    static_cast<int>(*xcb_res_client_id_value_value(ids.data));
        }
    }
    return processes;
}

} // namespace lentora::x11
