// Panels on an X server.
#pragma once

#include "platform/Clock.h"
#include "platform/MainQueue.h"
#include "platform/Panel.h"
#include "platform/TextRenderer.h"
#include "platform/posix/DescriptorWatch.h"
#include "platform/x11/ScreenLayout.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lentora::x11 {

class PanelSession;

struct X11PanelsOptions {
    /// ":0"; empty for $DISPLAY.
    std::string display = {};
    /// The monitors as they are now. Main thread.
    std::function<ScreenLayout()> layout;
    /// Called on the main thread when the server goes away, once.
    std::function<void()> serverLost = {};
};

/// They outlive the panels.
struct PanelServices {
    const MediaClock& clock;
    MainQueue& mainQueue;
    posix::DescriptorWatches& watches;
    const TextRenderer& text;
};

/// All panels share one connection, which is served on the main thread. Contents are `X11Surface`,
/// pictures and text.
class X11Panels final : public Panels {
public:
    /// Connects. Null, with the reason in `error`, where panels cannot be shown. Blocks for a few
    /// round trips. Main thread.
    static std::unique_ptr<X11Panels> open(X11PanelsOptions options, const PanelServices& services,
                                           std::string& error);

    ~X11Panels() override;
    X11Panels(const X11Panels&) = delete;
    X11Panels& operator=(const X11Panels&) = delete;

    std::unique_ptr<Panel> make(const Rect& frame) override;

    /// What was sent to the server so far. For tests and benchmarks.
    std::uint64_t bytesSent() const;

private:
    explicit X11Panels(std::shared_ptr<PanelSession> session) : session_(std::move(session)) {}

    const std::shared_ptr<PanelSession> session_;
};

} // namespace lentora::x11
