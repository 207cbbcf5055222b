#include "platform/x11/WindowFilter.h"

#include "platform/x11/PropertyValue.h"

#include <xcb/res.h>

#include <algorithm>
#include <utility>

namespace lentora::x11 {

namespace {

// How far below a frame the application's window may lie.
constexpr int frameDepth = 2;
// How many windows of one frame are asked.
constexpr std::size_t maxChildren = 16;

} // namespace

WindowFilter::WindowFilter(const CaptureServer& server, MessageQueue& messages,
                           const CaptureFilter& filter, const GenerationOf& generationOf,
                           std::function<void()> changed)
    : server_(server), messages_(messages), changed_(std::move(changed)) {
    for (const ShareableWindow& window : filter.excludedWindows) {
        const auto generation = generationOf ? generationOf(window.windowID) : std::nullopt;
        // The number means another window by now.
        if (generation && window.generation != 0 && *generation != window.generation)
            continue;
        exclusions_.push_back({window.windowID, XCB_NONE});
    }
    if (filter.includingApplications) {
        pids_.emplace();
        for (const ShareableApplication& application : *filter.includingApplications)
            pids_->insert(application.pid);
    }
}

void WindowFilter::begin(const WindowStack& stack) {
    for (Exclusion& exclusion : exclusions_) {
        if (stack.find(exclusion.window) != nullptr)
            exclusion.topLevel = exclusion.window;
        else
            findTopLevel(exclusion.window, exclusion.window);
    }
}

void WindowFilter::findTopLevel(xcb_window_t excluded, xcb_window_t at) {
    messages_.expect<xcb_query_tree_reply_t>(
        xcb_query_tree(server_.get(), at),
        [this, excluded, at](const xcb_query_tree_reply_t* reply) {
            if (reply == nullptr || reply->parent == XCB_NONE)
                return;
            if (reply->parent != server_.root())
                return findTopLevel(excluded, reply->parent);
            const auto found = std::ranges::find(exclusions_, excluded, &Exclusion::window);
            if (found == exclusions_.end())
                return;
            found->topLevel = at;
            changed_();
        });
}

void WindowFilter::apply(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7F) {
    case XCB_DESTROY_NOTIFY: {
        const auto id = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
        std::erase_if(exclusions_, [&](const Exclusion& exclusion) {
            return exclusion.topLevel == id || exclusion.window == id;
        });
        owners_.erase(id);
        return;
    }
    case XCB_REPARENT_NOTIFY: {
        // Into a frame, or out of one.
        const auto& moved = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
        const auto found = std::ranges::find(exclusions_, moved.window, &Exclusion::window);
        if (found == exclusions_.end())
            return;
        found->topLevel = XCB_NONE;
        if (moved.parent == server_.root())
            found->topLevel = moved.window;
        else
            findTopLevel(moved.window, moved.parent);
        return;
    }
    default:
        return;
    }
}

bool WindowFilter::isExcluded(xcb_window_t topLevel) const {
    return std::ranges::find(exclusions_, topLevel, &Exclusion::topLevel) != exclusions_.end();
}

bool WindowFilter::isLeftOut(const TopLevel& window) {
    return server_.isServersOwn(window.id) || isExcluded(window.id) || !isOfApplication(window);
}

bool WindowFilter::isOfApplication(const TopLevel& window) {
    if (!pids_)
        return true;
    const auto [owner, isNew] = owners_.try_emplace(window.id, Owner{window.serial});
    if (isNew || owner->second.serial != window.serial) {
        owner->second = {window.serial, false};
        askOwner(window.id, frameDepth,
                 [this, id = window.id, serial = window.serial](std::optional<int> pid) {
                     const auto found = owners_.find(id);
                     if (found == owners_.end() || found->second.serial != serial)
                         return;
                     found->second.isIncluded = pid && pids_->contains(*pid);
                     changed_();
                 });
    }
    return owner->second.isIncluded;
}

// What the window says of itself counts; then what windows inside say, if it is a frame; then what
// the server knows of the client.
void WindowFilter::askOwner(xcb_window_t window, int depth, OwnerHandler handler) {
    xcb_connection_t* c = server_.get();
    messages_.expect<xcb_get_property_reply_t>(
        xcb_get_property(c, 0, window, server_.atoms().windowPid, XCB_ATOM_CARDINAL, 0, 1),
        [this, c, window, depth,
         handler = std::move(handler)](const xcb_get_property_reply_t* reply) {
            if (const auto pid = firstValue(reply))
                return handler(static_cast<int>(*pid));
            if (depth == 0)
                return handler(std::nullopt);
            messages_.expect<xcb_query_tree_reply_t>(
                xcb_query_tree(c, window),
                [this, window, depth, handler](const xcb_query_tree_reply_t* tree) {
                    std::vector<xcb_window_t> children;
                    if (tree != nullptr) {
                        const xcb_window_t* first = xcb_query_tree_children(tree);
                        const auto count =
                            static_cast<std::size_t>(xcb_query_tree_children_length(tree));
                        children.assign(first, first + std::min(count, maxChildren));
                    }
                    askOwnerOfChildren(std::move(children), depth - 1,
                                       [this, window, depth, handler](std::optional<int> pid) {
                                           if (pid || depth < frameDepth)
                                               return handler(pid);
                                           askOwnerOfServer(window, handler);
                                       });
                });
        });
}

void WindowFilter::askOwnerOfChildren(std::vector<xcb_window_t> children, int depth,
                                      OwnerHandler handler) {
    if (children.empty())
        return handler(std::nullopt);
    const xcb_window_t child = children.back();
    children.pop_back();
    askOwner(child, depth,
             [this, children = std::move(children), depth,
              handler = std::move(handler)](std::optional<int> pid) {
                 if (pid)
                     return handler(pid);
                 askOwnerOfChildren(children, depth, handler);
             });
}

void WindowFilter::askOwnerOfServer(xcb_window_t window, OwnerHandler handler) {
    if (!server_.hasResourceExtension())
        return handler(std::nullopt);
    const xcb_res_client_id_spec_t spec{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    messages_.expect<xcb_res_query_client_ids_reply_t>(
        xcb_res_query_client_ids(server_.get(), 1, &spec),
        [handler = std::move(handler)](const xcb_res_query_client_ids_reply_t* reply) {
            std::optional<int> pid;
            if (reply != nullptr) {
                auto ids = xcb_res_query_client_ids_ids_iterator(reply);
                if (ids.rem > 0 && xcb_res_client_id_value_value_length(ids.data) > 0)
                    pid = static_cast<int>(*xcb_res_client_id_value_value(ids.data));
            }
            handler(pid);
        });
}

} // namespace lentora::x11
