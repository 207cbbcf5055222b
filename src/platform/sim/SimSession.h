// A simulated desktop as a session wants it.
#pragma once

#include "app/SessionParts.h"
#include "platform/sim/SimDesktop.h"

namespace lentora::sim {

inline SessionServices sessionServices(SimDesktop& desktop, Log& log, const StringTable& strings) {
    return {.windowList = desktop.windowList,
            .focusedWindows = desktop.focusedWindows,
            .applications = desktop.applications,
            .displays = desktop.displays,
            .pointer = desktop.pointer,
            .permissions = desktop.permissions,
            .shareableContent = desktop.shareableContent,
            .captureStreams = desktop.captureStreams,
            .screenshots = desktop.screenshots,
            .panels = desktop.panels,
            .displayLinks = desktop.displayLinks,
            .textMeasurer = desktop.textMeasurer,
            .clock = desktop.timeline,
            .executor = desktop.executor,
            .mainQueue = desktop.mainQueue,
            .log = log,
            .strings = strings};
}

} // namespace lentora::sim
