#include "platform/x11/WindowSession.h"

#include <xcb/randr.h>

#include <unistd.h>

#include <array>
#include <span>
#include <utility>

namespace lentora::x11 {

namespace {

// Windows may come while others are read. Those are read, too; what comes faster than it can be
// read waits for the next time.
constexpr int readingPasses = 3;

// How far up from the window with the input focus its place on the root is looked for.
constexpr int focusDepth = 16;

template <typename Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

template <typename Event>
Placement placementOf(const Event& event) {
    return {{event.x, event.y, event.width, event.height}, event.border_width};
}

} // namespace

std::unique_ptr<WindowSession> WindowSession::open(const std::string& display, std::string& error) {
    auto connection = Connection::open(display, error);
    if (!connection)
        return nullptr;
    return std::unique_ptr<WindowSession>(new WindowSession(std::move(connection)));
}

WindowSession::WindowSession(std::unique_ptr<Connection> connection)
    : connection_(std::move(connection)), atoms_(*connection_), rootReader_(*connection_, atoms_),
      windowReader_(*connection_, atoms_) {
    const std::uint32_t events =
        XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_->get(), connection_->root(), XCB_CW_EVENT_MASK,
                                 &events);
    readTree();
}

void WindowSession::readTree() {
    xcb_connection_t* const c = connection_->get();
    const xcb_query_tree_cookie_t cookie = xcb_query_tree(c, connection_->root());
    ++roundTrips_;
    const XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, cookie, nullptr));
    if (!tree)
        return;
    tracker_.start({xcb_query_tree_children(tree.get()),
                    static_cast<std::size_t>(xcb_query_tree_children_length(tree.get()))});
    // Events carry the number of the last request before them: what came before the tree was read
    // is in it.
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_queued_event(c)}) {
        if (event->full_sequence >= cookie.sequence)
            note(*event);
    }
}

int WindowSession::roundTrips() const {
    return roundTrips_ + rootReader_.roundTrips() + windowReader_.roundTrips();
}

std::shared_ptr<const DesktopSnapshot> WindowSession::refresh() {
    const xcb_window_t inputFocus = finishWithServer();
    noteEvents();
    for (int pass = 0; pass < readingPasses; ++pass) {
        const int before = roundTrips();
        if (std::exchange(isManagerStale_, false)) {
            manager_ = rootReader_.readManager();
            tracker_.setHasUnlistedFrames(manager_.isSilent);
            tracker_.setManaged(manager_.clients);
        }
        if (std::exchange(isLayoutStale_, false))
            layout_ = rootReader_.readLayout();
        windowReader_.read(tracker_);
        noteEvents();
        if (roundTrips() == before)
            break;
    }
    SnapshotContext context{.ownPid = ::getpid(),
                            .currentDesktop = manager_.currentDesktop,
                            .focusedWindow = focusedWindow(inputFocus),
                            .layout = layout_};
    if (isLost())
        return nullptr;
    return std::make_shared<const DesktopSnapshot>(snapshotOf(tracker_, std::move(context)));
}

// Every event that happened before has arrived when this returns. The request that is used for it
// tells the input focus.
xcb_window_t WindowSession::finishWithServer() {
    xcb_connection_t* const c = connection_->get();
    ++roundTrips_;
    const XcbPtr<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    return reply ? reply->focus : xcb_window_t{noWindow};
}

// The manager's word; without one, the child of the root that the input focus is in.
std::optional<WindowId> WindowSession::focusedWindow(xcb_window_t inputFocus) {
    xcb_window_t window = manager_.activeClient.value_or(inputFocus);
    for (int depth = 0; depth < focusDepth; ++depth) {
        if (window <= XCB_INPUT_FOCUS_POINTER_ROOT || window == connection_->root())
            return std::nullopt;
        if (const TrackedWindow* const found = tracker_.ofClient(window))
            return found->id;
        ++roundTrips_;
        const XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(
            connection_->get(), xcb_query_tree(connection_->get(), window), nullptr));
        window = tree ? tree->parent : xcb_window_t{noWindow};
    }
    return std::nullopt;
}

// Events

void WindowSession::noteEvents() {
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection_->get())})
        note(*event);
}

void WindowSession::note(const xcb_generic_event_t& event) {
    // Errors tell of windows that are gone, and so do events. What other clients send is only
    // their word.
    const int type = event.response_type;
    constexpr int sentByClient = 0x80;
    if (type == 0 || (type & sentByClient) != 0)
        return;
    if (const auto first = rootReader_.firstLayoutEvent();
        first &&
        (type == *first + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == *first + XCB_RANDR_NOTIFY)) {
        isLayoutStale_ = true;
        return;
    }
    switch (type) {
    case XCB_PROPERTY_NOTIFY:
        return noteProperty(as<xcb_property_notify_event_t>(event));
    case XCB_CREATE_NOTIFY:
    case XCB_CIRCULATE_NOTIFY:
    case XCB_GRAVITY_NOTIFY:
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY:
        return noteOnRoot(event);
    case XCB_DESTROY_NOTIFY: {
        const auto& destroyed = as<xcb_destroy_notify_event_t>(event);
        if (destroyed.window == manager_.checkWindow)
            isManagerStale_ = true;
        return destroyed.event == connection_->root() ? tracker_.destroyed(destroyed.window)
                                                      : tracker_.clientGone(destroyed.window);
    }
    case XCB_CONFIGURE_NOTIFY: {
        const auto& configured = as<xcb_configure_notify_event_t>(event);
        if (configured.event != connection_->root())
            return tracker_.clientConfigured(configured.window);
        return tracker_.configured(configured.window, placementOf(configured),
                                   configured.override_redirect != 0, configured.above_sibling);
    }
    case XCB_REPARENT_NOTIFY: {
        const auto& moved = as<xcb_reparent_notify_event_t>(event);
        // A manager that has just come may not have said so yet.
        isManagerStale_ = true;
        if (moved.event != connection_->root())
            return tracker_.clientGone(moved.window);
        if (moved.parent == connection_->root())
            return tracker_.adopted(moved.window, moved.override_redirect != 0);
        return tracker_.reparented(moved.window, moved.parent);
    }
    default:
        return;
    }
}

// Of clients inside of frames, these tell nothing that matters.
void WindowSession::noteOnRoot(const xcb_generic_event_t& event) {
    const xcb_window_t root = connection_->root();
    switch (event.response_type) {
    case XCB_CREATE_NOTIFY: {
        const auto& created = as<xcb_create_notify_event_t>(event);
        if (created.parent == root) {
            tracker_.created(created.window, placementOf(created), created.override_redirect != 0);
        }
        return;
    }
    case XCB_CIRCULATE_NOTIFY: {
        const auto& circulated = as<xcb_circulate_notify_event_t>(event);
        if (circulated.event == root)
            tracker_.circulated(circulated.window, circulated.place == XCB_PLACE_ON_TOP);
        return;
    }
    case XCB_GRAVITY_NOTIFY: {
        const auto& moved = as<xcb_gravity_notify_event_t>(event);
        if (moved.event == root)
            tracker_.moved(moved.window, moved.x, moved.y);
        return;
    }
    case XCB_MAP_NOTIFY: {
        const auto& mapped = as<xcb_map_notify_event_t>(event);
        if (mapped.event == root)
            tracker_.mapped(mapped.window);
        return;
    }
    default: {
        const auto& unmapped = as<xcb_unmap_notify_event_t>(event);
        if (unmapped.event == root)
            tracker_.unmapped(unmapped.window);
        return;
    }
    }
}

void WindowSession::noteProperty(const xcb_property_notify_event_t& event) {
    if (event.window == connection_->root()) {
        if (event.atom == XCB_ATOM_RESOURCE_MANAGER)
            isLayoutStale_ = true;
        for (const Atom word :
             {Atom::netSupportingWmCheck, Atom::netClientList, Atom::netClientListStacking,
              Atom::netActiveWindow, Atom::netCurrentDesktop})
            isManagerStale_ = isManagerStale_ || event.atom == atoms_[word];
        return;
    }
    const std::array<std::pair<xcb_atom_t, Aspects>, 10> properties{{
        {atoms_[Atom::netWmName], aspect::title},
        {XCB_ATOM_WM_NAME, aspect::title},
        {XCB_ATOM_WM_CLASS, aspect::applicationClass},
        {atoms_[Atom::netWmWindowType], aspect::type},
        {atoms_[Atom::netWmState], aspect::state},
        {atoms_[Atom::netWmDesktop], aspect::desktop},
        {atoms_[Atom::netWmWindowOpacity], aspect::opacity},
        {atoms_[Atom::netFrameExtents], aspect::frameExtents | aspect::clientGeometry},
        {atoms_[Atom::gtkFrameExtents], aspect::shadowExtents},
        // A window manager without a list has taken the window over, or lets it go.
        {atoms_[Atom::wmState], aspect::client},
    }};
    for (const auto& [name, aspects] : properties) {
        if (name == event.atom)
            return tracker_.propertyChanged(event.window, aspects);
    }
}

} // namespace lentora::x11
