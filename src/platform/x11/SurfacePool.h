// The pixmaps that a stream draws its frames on, in turn.
#pragma once

#include "platform/x11/CaptureServer.h"
#include "platform/x11/PixelRegion.h"
#include "platform/x11/X11Surface.h"

#include <xcb/render.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// A pixmap is drawn on again only when nobody holds its surface. Each remembers what has changed
/// since it was current, so that it can be brought up to date by drawing that part alone.
///
/// The capture thread's, but for `release`. Lives as long as a surface of it does, and keeps the
/// connection open for as long.
class SurfacePool : public std::enable_shared_from_this<SurfacePool> {
public:
    struct Buffer {
        xcb_pixmap_t pixmap = XCB_NONE;
        xcb_render_picture_t picture = XCB_NONE;
        /// What is not as in the newest frame.
        PixelRegion stale;
        /// The server has been heard of since the pixmap was made: it had the memory.
        bool isProven = false;
    };

    /// `wake` is called, on any thread, when a surface comes back for which `acquire` had to
    /// refuse.
    SurfacePool(std::shared_ptr<const CaptureServer> server, int width, int height,
                std::size_t maxBuffers, std::function<void()> wake);
    ~SurfacePool();
    SurfacePool(const SurfacePool&) = delete;
    SurfacePool& operator=(const SurfacePool&) = delete;

    int width() const { return width_; }
    int height() const { return height_; }
    const CaptureServer& server() const { return *server_; }

    /// The free buffer with the least to draw. Nothing, when all are held.
    std::optional<std::size_t> acquire();
    Buffer& buffer(std::size_t index) { return slots_[index].buffer; }

    /// The acquired buffer is current from the moment `drawn`; what has changed is `damage`.
    std::shared_ptr<const X11Surface> deliver(std::size_t index, const PixelRegion& damage,
                                              const DrawingCounter::Moment& drawn);
    /// The server did not manage to make or to fill the buffer.
    void discard(std::size_t index);

    /// Frees what is not held now, and the rest when it is let go of. The last call of the capture
    /// thread.
    void end();

    /// A surface is let go of. Any thread.
    void release(std::size_t index);

private:
    struct Slot {
        Buffer buffer;
        bool isHeld = false;
    };

    void allocate(Buffer& buffer) const;
    void free(Buffer& buffer) const;

    const std::shared_ptr<const CaptureServer> server_;
    const int width_;
    const int height_;
    const std::function<void()> wake_;
    std::uint64_t frames_ = 0;
    X11Surface::History history_;

    std::mutex mutex_;
    // Guarded are `isHeld` and, after the end, the buffers. Does not grow.
    std::vector<Slot> slots_;
    bool isWaitedFor_ = false;
    bool hasEnded_ = false;
};

} // namespace lentora::x11
