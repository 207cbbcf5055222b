#include "platform/x11/SurfacePool.h"

#include <algorithm>
#include <utility>

namespace lentora::x11 {

namespace {

// How many frames back a surface knows what has changed. Who shows frames misses one or two.
constexpr std::size_t historyLength = 6;

PixelRegion whole(int width, int height) {
    return PixelRegion(PixelRect{0, 0, width, height});
}

} // namespace

X11Surface::X11Surface(std::shared_ptr<SurfacePool> pool, std::size_t buffer, xcb_pixmap_t pixmap,
                       std::uint64_t number, History history, DrawingCounter::Moment drawn)
    : pool_(std::move(pool)), buffer_(buffer), pixmap_(pixmap), number_(number),
      history_(std::move(history)), drawn_(drawn) {}

X11Surface::~X11Surface() {
    pool_->release(buffer_);
}

int X11Surface::width() const {
    return pool_->width();
}

int X11Surface::height() const {
    return pool_->height();
}

const PictureFormat& X11Surface::format() const {
    return pool_->server().frameFormat();
}

PixelRegion X11Surface::damageSince(const X11Surface& shown) const {
    const std::uint64_t missed = number_ - shown.number_;
    if (shown.pool_ != pool_ || shown.number_ > number_ || missed > history_.size())
        return whole(width(), height());
    PixelRegion all;
    for (std::size_t i = 0; i < missed; ++i)
        all.add(history_[i]);
    return all;
}

SurfacePool::SurfacePool(std::shared_ptr<const CaptureServer> server, int width, int height,
                         std::size_t maxBuffers, std::function<void()> wake)
    : server_(std::move(server)), width_(width), height_(height), wake_(std::move(wake)),
      slots_(std::max<std::size_t>(maxBuffers, 1)) {}

SurfacePool::~SurfacePool() {
    end();
}

void SurfacePool::allocate(Buffer& buffer) const {
    xcb_connection_t* c = server_->get();
    const PictureFormat& format = server_->frameFormat();
    buffer.pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, format.depth, buffer.pixmap, server_->root(),
                      static_cast<std::uint16_t>(width_), static_cast<std::uint16_t>(height_));
    buffer.picture = xcb_generate_id(c);
    xcb_render_create_picture(c, buffer.picture, buffer.pixmap, format.id, 0, nullptr);
    buffer.stale = whole(width_, height_);
}

void SurfacePool::free(Buffer& buffer) const {
    if (buffer.pixmap == XCB_NONE)
        return;
    xcb_render_free_picture(server_->get(), buffer.picture);
    xcb_free_pixmap(server_->get(), buffer.pixmap);
    buffer = {};
}

std::optional<std::size_t> SurfacePool::acquire() {
    const std::lock_guard lock(mutex_);
    std::optional<std::size_t> best;
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        if (slots_[i].isHeld)
            continue;
        const Buffer& candidate = slots_[i].buffer;
        // One that does not exist yet is the last choice.
        const bool isBetter =
            !best || (candidate.pixmap != XCB_NONE &&
                      (slots_[*best].buffer.pixmap == XCB_NONE ||
                       candidate.stale.area() < slots_[*best].buffer.stale.area()));
        if (isBetter)
            best = i;
    }
    isWaitedFor_ = !best;
    if (best) {
        slots_[*best].isHeld = true;
        if (slots_[*best].buffer.pixmap == XCB_NONE)
            allocate(slots_[*best].buffer);
    }
    return best;
}

std::shared_ptr<const X11Surface> SurfacePool::deliver(std::size_t index, const PixelRegion& damage,
                                                       const DrawingCounter::Moment& drawn) {
    for (Slot& slot : slots_)
        slot.buffer.stale.add(damage);
    slots_[index].buffer.stale.clear();
    history_.insert(history_.begin(), damage);
    if (history_.size() > historyLength)
        history_.pop_back();
    return std::make_shared<X11Surface>(shared_from_this(), index, slots_[index].buffer.pixmap,
                                        ++frames_, history_, drawn);
}

void SurfacePool::discard(std::size_t index) {
    free(slots_[index].buffer);
    release(index);
}

void SurfacePool::end() {
    const std::lock_guard lock(mutex_);
    if (std::exchange(hasEnded_, true))
        return;
    for (Slot& slot : slots_) {
        if (!slot.isHeld)
            free(slot.buffer);
    }
}

void SurfacePool::release(std::size_t index) {
    const std::lock_guard lock(mutex_);
    slots_[index].isHeld = false;
    if (hasEnded_) {
        free(slots_[index].buffer);
        xcb_flush(server_->get());
    } else if (std::exchange(isWaitedFor_, false)) {
        wake_();
    }
}

} // namespace lentora::x11
