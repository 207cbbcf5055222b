// The connection that display links share: it hears of refreshes, and of the pointer while one of
// them rests.
#pragma once

#include "platform/x11/Connection.h"
#include "platform/x11/X11DisplayLinks.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace lentora::x11 {

/// What the session tells a link. Main thread; the link may go in the middle of a call.
class RefreshListener {
public:
    virtual ~RefreshListener() = default;

    /// A refresh that was asked for. `timestamp` in seconds of the media clock; `count` is the
    /// number of the refresh.
    virtual void monitorRefreshed(double timestamp, std::uint64_t count) = 0;
    virtual void pointerMoved() = 0;
};

/// Main thread.
class RefreshSession final : public std::enable_shared_from_this<RefreshSession> {
public:
    RefreshSession(std::unique_ptr<Connection> connection, X11DisplayLinksOptions options,
                   const DisplayLinkServices& services);
    RefreshSession(const RefreshSession&) = delete;
    RefreshSession& operator=(const RefreshSession&) = delete;

    const DisplayLinkServices& services() const { return services_; }

    /// The server tells of refreshes.
    bool hasPresent() const { return presentOpcode_ != 0; }

    ScreenLayout layout() const { return options_.layout(); }
    bool isLost() const { return connection_->isLost(); }

    /// Makes a window there, whose refreshes are then told to `listener`. Never XCB_NONE.
    xcb_window_t add(RefreshListener& listener, const PixelRect& display);
    void move(xcb_window_t window, const PixelRect& display);
    void remove(xcb_window_t window);

    /// Tells of the first refresh of the window's monitor after the one with this number.
    void askForRefreshAfter(xcb_window_t window, std::uint64_t count);

    /// Whether links are told that the pointer moves. False when the server cannot tell.
    bool listenToPointer(xcb_window_t window, bool listens);

    /// Sends what was asked for. Nobody is called in here.
    void send();

    /// Listeners are told now of what the server has sent, unless they are being told just then.
    void readArrived();

    /// How many refreshes the server has told of.
    std::uint64_t refreshesTold() const { return refreshesTold_; }

private:
    struct Entry {
        xcb_window_t window = XCB_NONE;
        RefreshListener* listener = nullptr;
        bool listensToPointer = false;
    };

    void agree(bool withoutPresent);
    void dispatch(const xcb_generic_event_t& event);
    void refreshed(xcb_window_t window, std::uint64_t microseconds, std::uint64_t count);
    void pointerMoved();
    Entry* find(xcb_window_t window);

    const std::unique_ptr<Connection> connection_;
    const X11DisplayLinksOptions options_;
    const DisplayLinkServices services_;
    std::uint8_t presentOpcode_ = 0;
    std::uint8_t inputOpcode_ = 0;
    // The raw events by which the pointer's movements are told.
    std::uint32_t pointerEvents_ = 0;
    std::vector<Entry> entries_;
    std::uint64_t refreshesTold_ = 0;
    bool isHandling_ = false;
    std::unique_ptr<posix::DescriptorWatch> watch_;
};

} // namespace lentora::x11
