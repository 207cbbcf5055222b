#include "platform/x11/CaptureSession.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <span>
#include <utility>

namespace lentora::x11 {

namespace {

// A program that draws exactly as often as frames may come is late one time and in time the next.
// A frame that was late does not make the next one wait, down to this part of the interval; else
// all that follow would be as late as it was. The frames keep their distance on average.
constexpr int shortestPart = 2;

// Until the server may have memory again.
constexpr std::chrono::milliseconds memoryPause{250};

// Messages that are handled before frames get their turn.
constexpr int messageBatch = 1000;

// Questions that follow from answers: how often the start waits for the answers to come.
constexpr int settlingRounds = 8;

std::chrono::steady_clock::duration seconds(double value) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(std::max(value, 0.0)));
}

PixelRect regionOf(const CaptureFilter& filter, const CaptureConfiguration& configuration,
                   const ScreenSpace& space) {
    Rect onDesktop = configuration.sourceRect;
    onDesktop.x += filter.display.frame.x;
    onDesktop.y += filter.display.frame.y;
    return space.toPixels(onDesktop);
}

} // namespace

CaptureSession::CaptureSession(Setup setup)
    : setup_(std::move(setup)), server_(setup_.server), farewell_{server_},
      region_(regionOf(setup_.filter, setup_.configuration, setup_.space)),
      interval_(seconds(setup_.configuration.minimumFrameInterval)),
      messages_(server_->connection()), stack_(server_->root()),
      filter_(*server_, messages_, setup_.filter, setup_.generationOf,
              [this] { layersAreStale_ = true; }),
      background_(*server_, messages_,
                  [this] {
                      layersAreStale_ = true;
                      damage_.add({0, 0, region_.width, region_.height});
                  }),
      composed_(server_, region_, setup_.configuration.width, setup_.configuration.height),
      pool_(std::make_shared<SurfacePool>(
          server_, setup_.configuration.width, setup_.configuration.height,
          static_cast<std::size_t>(std::max(setup_.configuration.queueDepth, 1)),
          [wake = setup_.wake] { wake->signal(); })) {
    if (server_->hasCounters())
        drawing_.emplace(server_->connection());
}

CaptureSession::~CaptureSession() {
    xcb_connection_t* c = server_->get();
    if (frameInFlight_ && !frameInFlight_->isDelivered)
        pool_->discard(frameInFlight_->buffer);
    windows_.clear();
    const std::uint32_t mask = XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(c, server_->root(), XCB_CW_EVENT_MASK, &mask);
    pool_->end();
}

// A surface may keep the connection, and nobody reads it any more.
CaptureSession::Farewell::~Farewell() {
    const XcbPtr<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(server->get(), xcb_get_input_focus(server->get()), nullptr));
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_queued_event(server->get())}) {
    }
}

CaptureSession::End CaptureSession::run(const std::atomic<bool>& stopping,
                                        const std::function<void()>& started) {
    begin();
    bool hasStarted = false;
    while (!stopping) {
        xcb_flush(server_->get());
        if (server_->connection().isLost())
            return End::serverLost;
        bool hasWorked = dispatchArrived();
        if (std::exchange(layersAreStale_, false)) {
            updateLayers();
            hasWorked = true;
        }
        if (isReady_ && !std::exchange(hasStarted, true))
            started();
        if (hasLostFrame_ && setup_.endsWithLostFrame)
            return End::frameLost;
        // What was sent has to be flushed, and may have brought new events.
        hasWorked = composeIfDue() || hasWorked;
        if (!hasWorked)
            wait();
    }
    return End::stopped;
}

// The events are selected before the first question: whatever changes later is told by them.
void CaptureSession::begin() {
    xcb_connection_t* c = server_->get();
    const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, server_->root(), XCB_CW_EVENT_MASK, &mask);
    messages_.expect<xcb_query_tree_reply_t>(xcb_query_tree(c, server_->root()),
                                             [this](const xcb_query_tree_reply_t* tree) {
                                                 if (tree != nullptr)
                                                     takeTree(*tree);
                                             });
    background_.ask();
}

void CaptureSession::takeTree(const xcb_query_tree_reply_t& tree) {
    // Created since the events were selected, and told by them: all are in the tree as well.
    const std::span children(xcb_query_tree_children(&tree),
                             static_cast<std::size_t>(xcb_query_tree_children_length(&tree)));
    for (const xcb_window_t child : children)
        stack_.add(child);
    for (const TopLevel& window : stack_.windows())
        askPlace(window.id);
    filter_.begin(stack_);
    settle(settlingRounds);
}

void CaptureSession::askPlace(xcb_window_t id) {
    xcb_connection_t* c = server_->get();
    messages_.expect<xcb_get_geometry_reply_t>(xcb_get_geometry(c, id),
                                               [this, id](const xcb_get_geometry_reply_t* reply) {
                                                   if (reply != nullptr)
                                                       stack_.setGeometry(id, *reply);
                                               });
    messages_.expect<xcb_get_window_attributes_reply_t>(
        xcb_get_window_attributes(c, id),
        [this, id](const xcb_get_window_attributes_reply_t* reply) {
            if (reply != nullptr)
                stack_.setMapped(id, reply->map_state == XCB_MAP_STATE_VIEWABLE);
            layersAreStale_ = true;
        });
}

// Answers lead to further questions. The first frame is drawn when the answers stop doing so.
void CaptureSession::settle(int rounds) {
    if (rounds == 0 || !messages_.isWaiting()) {
        isReady_ = true;
        layersAreStale_ = true;
        damage_ = PixelRegion({0, 0, region_.width, region_.height});
        return;
    }
    messages_.expect<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus(server_->get()), [this, rounds](const xcb_get_input_focus_reply_t*) {
            updateLayers();
            settle(rounds - 1);
        });
}

bool CaptureSession::dispatchArrived() {
    int count = 0;
    while (count < messageBatch &&
           messages_.dispatchNext([this](const xcb_generic_event_t& event) { dispatch(event); }))
        ++count;
    return count > 0;
}

void CaptureSession::dispatch(const xcb_generic_event_t& event) {
    // Sent by another client: it may say anything.
    if ((event.response_type & 0x80) != 0)
        return;
    const std::uint8_t type = event.response_type;
    if (type == 0) {
        // Nearly always a window that is gone, and its end is told by an event. Only a pixmap that
        // the server has no memory for spoils a frame.
        const auto& error = reinterpret_cast<const xcb_generic_error_t&>(event);
        if (error.major_code == XCB_CREATE_PIXMAP && frameInFlight_)
            frameInFlight_->hasFailed = true;
        return;
    }
    if (type == server_->damageNotify())
        return windowDamaged(event);
    if (type == server_->shapeNotify()) {
        const auto& changed = reinterpret_cast<const xcb_shape_notify_event_t&>(event);
        if (CapturedWindow* window = captured(changed.affected_window))
            window->shapeChanged(changed);
        return;
    }
    if (type == XCB_PROPERTY_NOTIFY) {
        const auto& changed = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (changed.window == server_->root() && changed.atom == server_->atoms().rootPixmap)
            background_.ask();
        else if (changed.atom == server_->atoms().windowOpacity) {
            if (CapturedWindow* window = captured(changed.window))
                window->opacityChanged();
        }
        return;
    }
    if (!stack_.apply(event))
        return;
    filter_.apply(event);
    layersAreStale_ = true;
    if (type == XCB_REPARENT_NOTIFY) {
        const auto& moved = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
        if (moved.parent == server_->root())
            askPlace(moved.window);
    }
}

CapturedWindow* CaptureSession::captured(xcb_window_t id) {
    const TopLevel* window = stack_.find(id);
    const auto found = window == nullptr ? windows_.end() : windows_.find(window->serial);
    return found == windows_.end() ? nullptr : found->second.get();
}

void CaptureSession::windowDamaged(const xcb_generic_event_t& event) {
    const auto id = reinterpret_cast<const xcb_damage_notify_event_t&>(event).drawable;
    CapturedWindow* window = captured(id);
    if (window == nullptr)
        return;
    const PixelRect part = intersection(window->damaged(event), region_);
    const auto layer = std::ranges::find(layers_.windows, window);
    if (part.isEmpty() || layer == layers_.windows.end())
        return;
    // It draws behind another window.
    const bool isHidden =
        std::any_of(layer + 1, layers_.windows.end(), [&](const CapturedWindow* above) {
            return above->isOpaque() && above->bounds().contains(part);
        });
    if (!isHidden)
        addDamage(part);
}

void CaptureSession::addDamage(const PixelRect& onRoot) {
    damage_.add(intersection(onRoot, region_).translated(-region_.x, -region_.y));
}

CapturedWindow& CaptureSession::watch(const TopLevel& window) {
    auto& entry = windows_[window.serial];
    if (!entry) {
        entry = std::make_unique<CapturedWindow>(server_, messages_, window,
                                                 [this] { layersAreStale_ = true; });
    }
    return *entry;
}

// Windows that cannot be seen are not redirected: it would make their programs draw and the server
// keep what nobody looks at.
void CaptureSession::updateLayers() {
    std::vector<PixelRect> hiding;
    std::vector<CapturedWindow*> seen;
    std::vector<std::uint64_t> watched;
    const std::vector<TopLevel> fromTop(stack_.windows().rbegin(), stack_.windows().rend());
    for (const TopLevel& window : fromTop) {
        const PixelRect part = intersection(window.bounds(), region_);
        const bool isCandidate =
            window.isMapped && !part.isEmpty() && !filter_.isLeftOut(window) &&
            std::ranges::none_of(hiding, [&](const PixelRect& r) { return r.contains(part); });
        if (!isCandidate)
            continue;
        CapturedWindow& candidate = watch(window);
        watched.push_back(window.serial);
        if (isReady_ && candidate.isVisible()) {
            candidate.follow(window);
            seen.push_back(&candidate);
        }
        if (candidate.isOpaque())
            hiding.push_back(window.bounds());
    }
    std::erase_if(windows_, [&](const auto& entry) {
        return std::ranges::find(watched, entry.first) == watched.end();
    });
    std::ranges::reverse(seen);
    layers_ = {background_.picture(), std::move(seen)};
    damageWhatMoved();
}

// What looks different because of windows that came, went, moved, or changed as a whole.
void CaptureSession::damageWhatMoved() {
    std::vector<Placed> placed;
    for (const CapturedWindow* window : layers_.windows)
        placed.push_back({window->serial(), window->bounds(), window->version()});
    const auto isIn = [](const std::vector<Placed>& all, const Placed& one) {
        return std::ranges::find(all, one) != all.end();
    };
    std::vector<Placed> stayedBefore;
    std::vector<Placed> stayed;
    for (const Placed& one : placed_) {
        if (isIn(placed, one))
            stayedBefore.push_back(one);
        else
            addDamage(one.bounds);
    }
    for (const Placed& one : placed) {
        if (isIn(placed_, one))
            stayed.push_back(one);
        else
            addDamage(one.bounds);
    }
    // Of two windows that changed places, at least one is at another position than before.
    for (std::size_t i = 0; i < stayed.size(); ++i) {
        if (stayed[i] != stayedBefore[i])
            addDamage(stayed[i].bounds);
    }
    placed_ = std::move(placed);
}

bool CaptureSession::isFrameWanted() const {
    return isReady_ && !damage_.isEmpty() && !frameInFlight_;
}

bool CaptureSession::composeIfDue() {
    const auto now = Clock::now();
    if (!isFrameWanted() || now < nextFrame_)
        return false;
    const auto buffer = pool_->acquire();
    waitsForBuffer_ = !buffer;
    if (!buffer)
        return false;
    for (CapturedWindow* window : layers_.windows)
        window->forgetDamage();
    hasLostFrame_ = false;
    const SurfacePool::Buffer& target = pool_->buffer(*buffer);
    composed_.paint({target.pixmap, target.picture}, layers_, damage_, target.stale);
    frameInFlight_ = Frame{*buffer, composed_.toTarget(std::exchange(damage_, {}))};
    nextFrame_ = std::max(nextFrame_ + interval_, now + interval_ / shortestPart);
    const auto drawn = drawing_ ? drawing_->mark() : DrawingCounter::Moment{};
    // Its answer tells that the server has carried out what was sent.
    messages_.expect<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus(server_->get()),
        [this](const xcb_get_input_focus_reply_t*) { frameDone(); });
    xcb_flush(server_->get());
    // The server holds back who shows the frame until it is drawn. That saves a way there and back,
    // and only where there may be no memory for it the answer comes first.
    if (drawing_ && target.isProven)
        deliver(*frameInFlight_, drawn);
    return true;
}

void CaptureSession::deliver(Frame& frame, const DrawingCounter::Moment& drawn) {
    frame.isDelivered = true;
    CaptureSample sample;
    sample.status = SampleStatus::complete;
    sample.width = pool_->width();
    sample.height = pool_->height();
    sample.surface = pool_->deliver(frame.buffer, frame.damage, drawn);
    if (const auto output = setup_.output.lock())
        output->didOutputSample(sample);
}

void CaptureSession::frameDone() {
    Frame frame = *std::exchange(frameInFlight_, std::nullopt);
    if (frame.hasFailed || server_->connection().isLost()) {
        hasLostFrame_ = true;
        damage_ = PixelRegion({0, 0, region_.width, region_.height});
        nextFrame_ = Clock::now() + memoryPause;
        if (!frame.isDelivered)
            pool_->discard(frame.buffer);
        return;
    }
    pool_->buffer(frame.buffer).isProven = true;
    if (!frame.isDelivered)
        deliver(frame, {});
}

void CaptureSession::wait() {
    std::array<pollfd, 2> sources{{{setup_.wake->fileDescriptor(), POLLIN, 0},
                                   {server_->connection().fileDescriptor(), POLLIN, 0}}};
    // Until the next frame may be drawn, events need not be looked at: they keep on the way.
    const bool isPaced = isFrameWanted() && !waitsForBuffer_;
    std::timespec left{};
    if (isPaced) {
        const auto duration = std::max(nextFrame_ - Clock::now(), Clock::duration::zero());
        const auto whole = std::chrono::floor<std::chrono::seconds>(duration);
        left.tv_sec = whole.count();
        left.tv_nsec =
            std::chrono::duration_cast<std::chrono::nanoseconds>(duration - whole).count();
    }
    ::ppoll(sources.data(), isPaced ? 1 : 2, isPaced ? &left : nullptr, nullptr);
    if ((sources[0].revents & POLLIN) != 0) {
        setup_.wake->clear();
        waitsForBuffer_ = false;
    }
}

} // namespace lentora::x11
