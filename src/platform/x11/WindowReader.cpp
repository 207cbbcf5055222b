#include "platform/x11/WindowReader.h"

#include "platform/x11/Properties.h"

#include <xcb/res.h>
#include <xcb/shape.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <unordered_map>

namespace lentora::x11 {

namespace {

// How much of a property is asked for, in units of four bytes.
constexpr std::uint32_t longestTitle = 256;
constexpr std::uint32_t longestClass = 64;
constexpr std::uint32_t mostAtoms = 32;

// How deep in a frame a client is looked for, and among how many windows of one parent.
constexpr int frameDepth = 3;
constexpr std::size_t frameWidth = 16;

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

bool isVisible(const TrackedWindow& window) {
    return window.mapped && window.drawable;
}

} // namespace

WindowReader::WindowReader(const Connection& connection, const Atoms& atoms)
    : connection_(connection), atoms_(atoms),
      hasShapes_(connection.extension(xcb_shape_id).has_value()) {
    if (!connection.extension(xcb_res_id))
        return;
    const XcbPtr<xcb_res_query_version_reply_t> version(xcb_res_query_version_reply(
        connection.get(), xcb_res_query_version(connection.get(), 1, 2), nullptr));
    knowsProcesses_ = version && (version->server_major > 1 || version->server_minor >= 2);
}

void WindowReader::read(WindowTracker& tracker) {
    readAttributes(tracker);
    findClients(tracker);
    readClients(tracker);
}

// Attributes

void WindowReader::readAttributes(WindowTracker& tracker) {
    xcb_connection_t* const c = connection_.get();
    struct Question {
        Key key;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
        xcb_shape_query_extents_cookie_t shape;
    };
    std::vector<Question> questions;
    std::vector<Key> perhapsHidden;
    for (const TrackedWindow& window : tracker.stack()) {
        if (!window.mapped || (window.stale & aspect::attributes) == 0)
            continue;
        questions.push_back({{window.id, window.generation},
                             xcb_get_window_attributes(c, window.id),
                             xcb_get_geometry(c, window.id),
                             hasShapes_ ? xcb_shape_query_extents(c, window.id)
                                        : xcb_shape_query_extents_cookie_t{}});
        if (!window.inTree)
            perhapsHidden.push_back(questions.back().key);
    }
    if (questions.empty())
        return;
    ++roundTrips_;
    for (const Question& question : questions) {
        const XcbPtr<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, question.attributes, nullptr));
        const XcbPtr<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, question.geometry, nullptr));
        const XcbPtr<xcb_shape_query_extents_reply_t> shape(
            hasShapes_ ? xcb_shape_query_extents_reply(c, question.shape, nullptr) : nullptr);
        std::optional<WindowTracker::Attributes> answer;
        if (attributes && geometry) {
            answer = {.inputOutput = attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      .depth = geometry->depth,
                      .shaped = shape && shape->bounding_shaped != 0,
                      .mapped = attributes->map_state != XCB_MAP_STATE_UNMAPPED,
                      .overrideRedirect = attributes->override_redirect != 0,
                      .placement = {{geometry->x, geometry->y, geometry->width, geometry->height},
                                    geometry->border_width}};
        }
        tracker.attributesRead(question.key.id, question.key.generation, answer);
    }
    checkTree(tracker, perhapsHidden);
}

// The server tells of the creation of windows that it hides from its clients' view: a compositing
// manager's overlay, and a blank screen. The tree of the root does not show them.
void WindowReader::checkTree(WindowTracker& tracker, const std::vector<Key>& keys) {
    if (keys.empty())
        return;
    ++roundTrips_;
    const XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(
        connection_.get(), xcb_query_tree(connection_.get(), connection_.root()), nullptr));
    if (!tree)
        return;
    const std::span children(xcb_query_tree_children(tree.get()),
                             static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));
    std::vector<WindowId> shown(children.begin(), children.end());
    std::ranges::sort(shown);
    for (const Key& key : keys)
        tracker.treeChecked(key.id, key.generation, std::ranges::binary_search(shown, key.id));
}

// Clients

void WindowReader::findClients(WindowTracker& tracker) {
    const bool search = tracker.isClientMissing();
    std::vector<Key> own;
    std::vector<Key> frames;
    for (const TrackedWindow& window : tracker.stack()) {
        if (!isVisible(window) || (window.stale & aspect::client) == 0)
            continue;
        const bool mayBeFrame = search && !tracker.isManaged(window.id);
        (mayBeFrame ? frames : own).push_back({window.id, window.generation});
    }
    for (const Key& key : own)
        tracker.clientFound(key.id, key.generation, key.id);
    if (!frames.empty())
        searchFrames(tracker, frames);
}

void WindowReader::searchFrames(WindowTracker& tracker, const std::vector<Key>& frames) {
    xcb_connection_t* const c = connection_.get();
    // The windows of one depth, with the frame that they are in.
    struct Place {
        std::size_t frame;
        WindowId window;
    };
    std::vector<WindowId> clients(frames.size(), noWindow);
    std::vector<Place> level;
    for (std::size_t i = 0; i < frames.size(); ++i)
        level.push_back({i, frames[i].id});
    for (int depth = 0; depth <= frameDepth && !level.empty(); ++depth) {
        std::vector<WindowId> windows;
        for (const Place& place : level)
            windows.push_back(place.window);
        const std::vector<bool> found = areClients(tracker, windows);
        for (std::size_t i = 0; i < level.size(); ++i) {
            if (found[i] && clients[level[i].frame] == noWindow)
                clients[level[i].frame] = level[i].window;
        }
        std::erase_if(level, [&](const Place& place) { return clients[place.frame] != noWindow; });
        std::vector<xcb_query_tree_cookie_t> cookies;
        for (const Place& place : level)
            cookies.push_back(xcb_query_tree(c, place.window));
        std::vector<Place> next;
        roundTrips_ += cookies.empty() ? 0 : 1;
        for (std::size_t i = 0; i < cookies.size(); ++i) {
            const XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, cookies[i], nullptr));
            if (!tree)
                continue;
            const std::span children(
                xcb_query_tree_children(tree.get()),
                static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));
            for (const WindowId child : children.first(std::min(children.size(), frameWidth)))
                next.push_back({level[i].frame, child});
        }
        level = std::move(next);
    }
    for (std::size_t i = 0; i < frames.size(); ++i) {
        tracker.clientFound(frames[i].id, frames[i].generation,
                            clients[i] == noWindow ? frames[i].id : clients[i]);
    }
}

// Without a list of the clients, they are known by what the window manager writes on them.
std::vector<bool> WindowReader::areClients(const WindowTracker& tracker,
                                           const std::vector<WindowId>& windows) {
    std::vector<bool> answer;
    if (tracker.isListKnown()) {
        for (const WindowId window : windows)
            answer.push_back(tracker.isManaged(window));
        return answer;
    }
    xcb_connection_t* const c = connection_.get();
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const WindowId window : windows) {
        cookies.push_back(
            xcb_get_property(c, 0, window, atoms_[Atom::wmState], XCB_GET_PROPERTY_TYPE_ANY, 0, 1));
    }
    ++roundTrips_;
    for (const auto cookie : cookies) {
        const XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, nullptr));
        answer.push_back(PropertyValue(reply.get()).type() != XCB_ATOM_NONE);
    }
    return answer;
}

// What is asked of clients

void WindowReader::readClients(WindowTracker& tracker) {
    std::vector<const TrackedWindow*> windows;
    for (const TrackedWindow& window : tracker.stack()) {
        if (isVisible(window) && window.client != noWindow &&
            (window.stale & aspect::ofClient) != 0)
            windows.push_back(&window);
    }
    if (windows.empty())
        return;
    readOwners(tracker, windows);
    readGeometries(tracker, windows);
    readProperties(tracker, windows);
}

void WindowReader::readProperties(WindowTracker& tracker,
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
void WindowReader::readPlainTitles(WindowTracker& tracker, const std::vector<Key>& keys) {
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

void WindowReader::readGeometries(WindowTracker& tracker,
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
void WindowReader::readOwners(WindowTracker& tracker,
                              const std::vector<const TrackedWindow*>& windows) {
    xcb_connection_t* const c = connection_.get();
    const std::uint32_t idMask = xcb_get_setup(c)->resource_id_mask;
    std::vector<Key> keys;
    std::vector<xcb_res_client_id_spec_t> specs;
    std::vector<WindowId> clients;
    for (const TrackedWindow* const window : windows) {
        if ((window->stale & aspect::owner) == 0)
            continue;
        // A client is asked for its owner once, when it is new to us. Its events are selected
        // before anything is read, so that no change is lost between.
        const std::uint32_t events =
            XCB_EVENT_MASK_PROPERTY_CHANGE |
            (window->isFramed() ? XCB_EVENT_MASK_STRUCTURE_NOTIFY : XCB_EVENT_MASK_NO_EVENT);
        xcb_change_window_attributes(c, window->client, XCB_CW_EVENT_MASK, &events);
        keys.push_back({window->id, window->generation});
        clients.push_back(window->client);
        specs.push_back({window->client, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    }
    std::vector<xcb_res_query_client_ids_cookie_t> cookies;
    for (std::size_t i = 0; knowsProcesses_ && i < specs.size(); i += ownersAtOnce) {
        cookies.push_back(xcb_res_query_client_ids(
            c, static_cast<std::uint32_t>(std::min(ownersAtOnce, specs.size() - i)), &specs[i]));
    }
    roundTrips_ += cookies.empty() ? 0 : 1;
    std::unordered_map<std::uint32_t, int> processes;
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
    for (std::size_t i = 0; i < keys.size(); ++i) {
        TrackedWindow* const window =
            tracker.reading(keys[i].id, keys[i].generation, aspect::owner);
        if (window == nullptr)
            continue;
        const std::uint32_t base = clients[i] & ~idMask;
        const auto process = processes.find(base);
        const std::uint32_t clientNumber = base / (idMask + 1);
        window->properties.pid = process != processes.end() && process->second > 0
                                     ? process->second
                                     : -static_cast<int>(clientNumber);
    }
}

} // namespace lentora::x11
