#include "platform/x11/WindowReader.h"

#include "platform/x11/Properties.h"

#include <xcb/shape.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace lentora::x11 {

namespace {

// How deep in a frame a client is looked for, and among how many windows of one parent.
constexpr int frameDepth = 3;
constexpr std::size_t frameWidth = 16;

bool isVisible(const TrackedWindow& window) {
    return window.mapped && window.drawable;
}

} // namespace

WindowReader::WindowReader(const Connection& connection, const Atoms& atoms)
    : connection_(connection), atoms_(atoms), clientReader_(connection, atoms),
      hasShapes_(connection.extension(xcb_shape_id).has_value()) {}

void WindowReader::read(WindowTracker& tracker) {
    readAttributes(tracker);
    findClients(tracker);
    std::vector<const TrackedWindow*> clients;
    for (const TrackedWindow& window : tracker.stack()) {
        if (isVisible(window) && window.client != noWindow)
            clients.push_back(&window);
    }
    clientReader_.read(tracker, clients);
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
        windows.reserve(level.size());
        for (const Place& place : level)
            windows.push_back(place.window);
        const std::vector<bool> found = areClients(tracker, windows);
        for (std::size_t i = 0; i < level.size(); ++i) {
            if (found[i] && clients[level[i].frame] == noWindow)
                clients[level[i].frame] = level[i].window;
        }
        std::erase_if(level, [&](const Place& place) { return clients[place.frame] != noWindow; });
        std::vector<xcb_query_tree_cookie_t> cookies;
        cookies.reserve(level.size());
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
    cookies.reserve(windows.size());
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

} // namespace lentora::x11
