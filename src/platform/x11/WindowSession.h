// One connection that keeps a WindowTracker in step with its server.
#pragma once

#include "platform/x11/Atoms.h"
#include "platform/x11/Connection.h"
#include "platform/x11/DesktopSnapshot.h"
#include "platform/x11/RootReader.h"
#include "platform/x11/WindowReader.h"
#include "platform/x11/WindowTracker.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lentora::x11 {

/// One thread at a time. Events are only noted when they come; the server is asked about what they
/// changed when somebody wants to know. So a server without anybody who asks gets no requests, and
/// a program that changes its title without end costs one question for every answer given.
class WindowSession {
public:
    /// Connects and selects the events. Nothing, with the reason in `error`, without a server.
    static std::unique_ptr<WindowSession> open(const std::string& display, std::string& error);

    int fileDescriptor() const { return connection_->fileDescriptor(); }
    bool isLost() const { return connection_->isLost(); }

    /// Notes the events that have arrived. Waits for nothing.
    void noteEvents();

    /// The monitors or the scale may have changed since the last snapshot.
    bool isLayoutStale() const { return isLayoutStale_; }

    /// The desktop as it is after everything that has happened until now; one round trip when
    /// nothing changed. Null when the server is gone.
    std::shared_ptr<const DesktopSnapshot> refresh();

    /// How often it has waited for the server.
    int roundTrips() const;

private:
    explicit WindowSession(std::unique_ptr<Connection> connection);

    void readTree();
    xcb_window_t finishWithServer();
    std::optional<WindowId> focusedWindow(xcb_window_t inputFocus);
    void note(const xcb_generic_event_t& event);
    void noteOnRoot(const xcb_generic_event_t& event);
    void noteProperty(const xcb_property_notify_event_t& event);

    const std::unique_ptr<Connection> connection_;
    const Atoms atoms_;
    RootReader rootReader_;
    WindowReader windowReader_;
    WindowTracker tracker_;
    ManagerWord manager_;
    ScreenLayout layout_;
    bool isManagerStale_ = true;
    bool isLayoutStale_ = true;
    int roundTrips_ = 0;
};

} // namespace lentora::x11
