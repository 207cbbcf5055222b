#include "platform/x11/WindowReader.h"

#include "platform/x11/Properties.h"

#include <xcb/shape.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace lentora::x11 {

namespace {

// How deep in a frame a client is looked for, counting the frame.
constexpr int frameDepth = 4;

// How many windows of one depth are looked at. Menus may have very many.
constexpr std::size_t mostSearched = 10'000;

bool isVisible(const TrackedWindow& window) {
    return window.mapped && window.drawable;
}

std::span<const xcb_window_t> childrenOf(const xcb_query_tree_reply_t& tree) {
    return {xcb_query_tree_children(&tree),
            static_cast<std::size_t>(xcb_query_tree_children_length(&tree))};
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
    const auto trees = readTrees({connection_.root()});
    if (!trees.front())
        return;
    const auto children = childrenOf(*trees.front());
    std::vector<WindowId> shown(children.begin(), children.end());
    std::ranges::sort(shown);
    for (const Key& key : keys)
        tracker.treeChecked(key.id, key.generation, std::ranges::binary_search(shown, key.id));
}

// Clients

void WindowReader::findClients(WindowTracker& tracker) {
    std::vector<Key> keys;
    for (const TrackedWindow& window : tracker.stack()) {
        if (isVisible(window) && (window.stale & aspect::client) != 0)
            keys.push_back({window.id, window.generation});
    }
    if (keys.empty())
        return;
    climbFromClients(tracker);
    std::vector<Key> unknown;
    for (const Key& key : keys) {
        if ((tracker.find(key.id)->stale & aspect::client) == 0)
            continue;
        if (tracker.hasUnlistedFrames())
            unknown.push_back(key);
        else
            tracker.clientFound(key.id, key.generation, key.id);
    }
    if (!unknown.empty())
        searchFrames(tracker, unknown);
}

// From the clients that a manager lists up to the children of the root.
void WindowReader::climbFromClients(WindowTracker& tracker) {
    struct Climb {
        WindowId client;
        WindowId at;
    };
    std::vector<Climb> climbs;
    for (const WindowId client : tracker.missingClients())
        climbs.push_back({client, client});
    for (int depth = 0; depth < frameDepth && !climbs.empty(); ++depth) {
        std::vector<WindowId> windows;
        windows.reserve(climbs.size());
        for (const Climb& climb : climbs)
            windows.push_back(climb.at);
        const auto trees = readTrees(windows);
        std::vector<Climb> next;
        for (std::size_t i = 0; i < climbs.size(); ++i) {
            const xcb_window_t parent = trees[i] ? trees[i]->parent : xcb_window_t{noWindow};
            const TrackedWindow* const frame = tracker.find(parent);
            // A frame with several clients, which are its tabs, keeps the one it has.
            const bool isTaken = frame != nullptr &&
                                 (tracker.isManaged(frame->id) || tracker.isManaged(frame->client));
            if (frame != nullptr && !isTaken)
                tracker.clientFound(frame->id, frame->generation, climbs[i].client);
            else if (frame == nullptr && parent != noWindow && parent != connection_.root())
                next.push_back({climbs[i].client, parent});
        }
        climbs = std::move(next);
    }
}

// Where no manager lists them, clients are known by what it writes on them.
void WindowReader::searchFrames(WindowTracker& tracker, const std::vector<Key>& frames) {
    // The windows of one depth, with the frame that they are in.
    std::vector<WindowId> level;
    std::vector<std::size_t> frameOf;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        level.push_back(frames[i].id);
        frameOf.push_back(i);
    }
    std::vector<WindowId> clients(frames.size(), noWindow);
    for (int depth = 0; depth < frameDepth && !level.empty(); ++depth) {
        const std::vector<bool> found = areClients(level);
        for (std::size_t i = 0; i < level.size(); ++i) {
            if (found[i] && clients[frameOf[i]] == noWindow)
                clients[frameOf[i]] = level[i];
        }
        const auto trees = readTrees(level);
        std::vector<WindowId> below;
        std::vector<std::size_t> frameOfBelow;
        for (std::size_t i = 0; i < level.size(); ++i) {
            if (!trees[i] || clients[frameOf[i]] != noWindow)
                continue;
            const auto children = childrenOf(*trees[i]);
            below.insert(below.end(), children.begin(), children.end());
            frameOfBelow.insert(frameOfBelow.end(), children.size(), frameOf[i]);
        }
        level = std::move(below);
        frameOf = std::move(frameOfBelow);
        level.resize(std::min(level.size(), mostSearched));
    }
    for (std::size_t i = 0; i < frames.size(); ++i) {
        tracker.clientFound(frames[i].id, frames[i].generation,
                            clients[i] == noWindow ? frames[i].id : clients[i]);
    }
}

std::vector<bool> WindowReader::areClients(const std::vector<WindowId>& windows) {
    xcb_connection_t* const c = connection_.get();
    std::vector<xcb_get_property_cookie_t> cookies;
    cookies.reserve(windows.size());
    for (const WindowId window : windows) {
        cookies.push_back(
            xcb_get_property(c, 0, window, atoms_[Atom::wmState], XCB_GET_PROPERTY_TYPE_ANY, 0, 1));
    }
    ++roundTrips_;
    std::vector<bool> answer;
    for (const auto cookie : cookies) {
        const XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, nullptr));
        answer.push_back(PropertyValue(reply.get()).type() != XCB_ATOM_NONE);
    }
    return answer;
}

std::vector<XcbPtr<xcb_query_tree_reply_t>>
WindowReader::readTrees(const std::vector<WindowId>& windows) {
    xcb_connection_t* const c = connection_.get();
    std::vector<xcb_query_tree_cookie_t> cookies;
    cookies.reserve(windows.size());
    for (const WindowId window : windows)
        cookies.push_back(xcb_query_tree(c, window));
    ++roundTrips_;
    std::vector<XcbPtr<xcb_query_tree_reply_t>> trees;
    trees.reserve(windows.size());
    for (const auto cookie : cookies)
        trees.emplace_back(xcb_query_tree_reply(c, cookie, nullptr));
    return trees;
}

} // namespace lentora::x11
