// A frame on the server.
#pragma once

#include "platform/CaptureStreams.h"
#include "platform/x11/CaptureServer.h"
#include "platform/x11/DrawingCounter.h"
#include "platform/x11/PixelRegion.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace lentora::x11 {

class SurfacePool;

/// What every surface of `X11CaptureStreams` is. The pixmap belongs to the capture's connection;
/// any client of the same server may read it, after `awaitDrawn`. It stays as it is until the
/// surface is let go of, so a client that still has requests on the way that read it lets go only
/// when the server has carried those out.
class X11Surface final : public Surface {
public:
    /// What changed from frame to frame, newest first.
    using History = std::vector<PixelRegion>;

    X11Surface(std::shared_ptr<SurfacePool> pool, std::size_t buffer, xcb_pixmap_t pixmap,
               std::uint64_t number, History history, DrawingCounter::Moment drawn);
    ~X11Surface() override;
    X11Surface(const X11Surface&) = delete;
    X11Surface& operator=(const X11Surface&) = delete;

    int width() const override;
    int height() const override;

    xcb_pixmap_t pixmap() const { return pixmap_; }
    /// Of the pixmap. It may have alpha, but a frame is opaque.
    const PictureFormat& format() const;

    /// The server may still be drawing. What is sent on `reader` after this finds the frame
    /// complete; this client does not wait.
    void awaitDrawn(const Connection& reader) const { DrawingCounter::await(reader, drawn_); }

    /// What may differ from the surface delivered before this one. Everything, on a stream's first.
    const PixelRegion& damage() const { return history_.front(); }

    /// What may differ from `shown`, for who did not show the surfaces between. Everything, where
    /// that is not known.
    PixelRegion damageSince(const X11Surface& shown) const;

private:
    const std::shared_ptr<SurfacePool> pool_;
    const std::size_t buffer_;
    const xcb_pixmap_t pixmap_;
    // Counts the frames of the pool.
    const std::uint64_t number_;
    const History history_;
    const DrawingCounter::Moment drawn_;
};

} // namespace lentora::x11
