#include "launch/Program.h"

#include "app/PermissionReport.h"
#include "platform/x11/IndependentLinuxApps.h"

namespace lentora::launch {

Program::Program(X11Platform& platform, const Settings& settings) : platform_(platform) {
    X11Platform& p = platform_;
    // Reads some hundred files, which the first choice of a window would wait for otherwise.
    p.executor.post([&p] { p.identities.refresh(); });

    session_ = makeSession({.windowList = p.windowList,
                            .focusedWindows = p.focusedWindows,
                            .applications = p.applications,
                            .displays = p.displays,
                            .pointer = *p.pointer,
                            .permissions = p.permissions,
                            .shareableContent = p.shareableContent,
                            .captureStreams = p.captureStreams,
                            .screenshots = p.screenshots,
                            .panels = *p.panels,
                            .displayLinks = *p.displayLinks,
                            .textMeasurer = p.textMeasurer,
                            .clock = p.mediaClock,
                            .executor = p.executor,
                            .mainQueue = p.mainQueue,
                            .log = p.log,
                            .strings = strings_},
                           IndependentApps(x11::independentLinuxApps()));
    backend_ = CGEventTapInputBackend::create(
        {p.eventTap, p.mainQueue, p.executor, p.mediaClock, p.log}, TapLocation::session);
    backend_->setDelegate(session_.zoom);
    session_.zoom->inputBackend = backend_;
    applySettings(settings, *backend_);
    applySettings(settings, strings_, *session_.zoom);
    backend_->start();
    p.log.log("app", "active backend: " + backend_->label());
    logPermissionStates(p.permissions, p.log);
}

void Program::end() {
    backend_->stop();
    platform_.log.log("app", "ended");
}

} // namespace lentora::launch
