#include "platform/x11/StackReading.h"

#include <memory>
#include <span>
#include <utility>

namespace lentora::x11 {

namespace {

using Answer = std::function<void(const std::vector<StackedWindow>&)>;

struct Reading {
    Answer answer;
    std::vector<StackedWindow> seen;
    StackedWindow next;
    bool isNextSeen = false;
};

void readWindow(const Connection& connection, MessageQueue& messages,
                const std::shared_ptr<Reading>& reading, xcb_window_t id) {
    messages.expect<xcb_get_window_attributes_reply_t>(
        xcb_get_window_attributes(connection.get(), id),
        [reading, id](const xcb_get_window_attributes_reply_t* attributes) {
            reading->isNextSeen = attributes != nullptr &&
                                  attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
                                  attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
            if (reading->isNextSeen)
                reading->next = {id, {}, attributes->override_redirect != 0};
        });
    messages.expect<xcb_get_geometry_reply_t>(
        xcb_get_geometry(connection.get(), id), [reading](const xcb_get_geometry_reply_t* place) {
            if (!reading->isNextSeen || place == nullptr)
                return;
            const int borders = 2 * place->border_width;
            reading->next.bounds = {place->x, place->y, place->width + borders,
                                    place->height + borders};
            reading->seen.push_back(reading->next);
        });
}

// Between a frame and its client there may be windows of the manager's.
constexpr int deepestClient = 3;

struct Search {
    std::function<void(bool)> answer;
    int openQuestions = 0;
    bool hasFound = false;

    void close() {
        if (--openQuestions == 0)
            answer(hasFound);
    }
};

void searchIn(const Connection& connection, MessageQueue& messages,
              const std::shared_ptr<Search>& search, xcb_window_t parent, xcb_atom_t mark,
              int depth) {
    ++search->openQuestions;
    messages.expect<xcb_query_tree_reply_t>(
        xcb_query_tree(connection.get(), parent),
        [&connection, &messages, search, mark, depth](const xcb_query_tree_reply_t* tree) {
            const std::span children(
                tree == nullptr ? nullptr : xcb_query_tree_children(tree),
                tree == nullptr ? 0
                                : static_cast<std::size_t>(xcb_query_tree_children_length(tree)));
            for (const xcb_window_t child : children) {
                ++search->openQuestions;
                messages.expect<xcb_get_property_reply_t>(
                    xcb_get_property(connection.get(), 0, child, mark, XCB_ATOM_ANY, 0, 0),
                    [search](const xcb_get_property_reply_t* property) {
                        search->hasFound |= property != nullptr && property->type != XCB_NONE;
                        search->close();
                    });
                if (depth > 1)
                    searchIn(connection, messages, search, child, mark, depth - 1);
            }
            search->close();
        });
}

} // namespace

void findClient(const Connection& connection, MessageQueue& messages, xcb_window_t window,
                xcb_atom_t mark, std::function<void(bool)> answer) {
    auto search = std::make_shared<Search>();
    search->answer = std::move(answer);
    searchIn(connection, messages, search, window, mark, deepestClient);
}

void readStack(const Connection& connection, MessageQueue& messages, Answer answer) {
    auto reading = std::make_shared<Reading>();
    reading->answer = std::move(answer);
    messages.expect<xcb_query_tree_reply_t>(
        xcb_query_tree(connection.get(), connection.root()),
        [&connection, &messages, reading](const xcb_query_tree_reply_t* tree) {
            if (tree != nullptr) {
                const std::span children(
                    xcb_query_tree_children(tree),
                    static_cast<std::size_t>(xcb_query_tree_children_length(tree)));
                for (const xcb_window_t id : children)
                    readWindow(connection, messages, reading, id);
            }
            messages.expect<xcb_get_input_focus_reply_t>(
                xcb_get_input_focus(connection.get()),
                [reading](const xcb_get_input_focus_reply_t*) { reading->answer(reading->seen); });
        });
}

} // namespace lentora::x11
