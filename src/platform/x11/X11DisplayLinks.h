// Beats in step with the refreshes of the monitors of an X screen.
//
// The Present extension tells of every refresh of the monitor that most of a window is on; the
// window is one of ours, which is never shown. A timer at the rate of the monitor's mode, or at 60
// a second where that is not known either, takes its place where the server does not have it, and
// for as long as it does not answer, as for a monitor that is off.
#pragma once

#include "platform/Clock.h"
#include "platform/DisplayLink.h"
#include "platform/MainQueue.h"
#include "platform/posix/DescriptorWatch.h"
#include "platform/x11/ScreenLayout.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lentora::x11 {

class RefreshSession;

struct X11DisplayLinksOptions {
    /// ":0"; empty for $DISPLAY.
    std::string display = {};
    /// The monitors as they are now. Main thread.
    std::function<ScreenLayout()> layout;
    /// As if the server had no Present extension.
    bool withoutPresent = false;
};

/// They outlive the links.
struct DisplayLinkServices {
    const MediaClock& clock;
    MainQueue& mainQueue;
    posix::DescriptorWatches& watches;
};

/// One connection for all links, served on the main thread. A link rests without waking the
/// process: what the pointer does, the server tells from then on. It does not tell when a program
/// puts the pointer elsewhere. When the server goes away, the beats end.
class X11DisplayLinks final : public DisplayLinks {
public:
    /// Connects. Null, with the reason in `error`, where no server answers. Blocks for a few round
    /// trips. Main thread.
    static std::unique_ptr<X11DisplayLinks>
    open(X11DisplayLinksOptions options, const DisplayLinkServices& services, std::string& error);

    ~X11DisplayLinks() override;
    X11DisplayLinks(const X11DisplayLinks&) = delete;
    X11DisplayLinks& operator=(const X11DisplayLinks&) = delete;

    std::unique_ptr<DisplayLink> start(const Rect& display, OnRefresh onRefresh) override;

    /// How many refreshes the server has told of until now, to all links. Beats of timers are not
    /// among them.
    std::uint64_t refreshesTold() const;

private:
    explicit X11DisplayLinks(std::shared_ptr<RefreshSession> session);

    const std::shared_ptr<RefreshSession> session_;
};

} // namespace lentora::x11
