#include "app/PermissionReport.h"

#include <string>

namespace lentora {

namespace {

std::string stateText(bool granted) {
    return granted ? "true" : "false";
}

} // namespace

void logPermissionStates(const Permissions& permissions, Log& log) {
    constexpr std::string_view category = "perm";
    log.log(category, "ScreenRecording=" + stateText(permissions.screenRecording()) +
                          "  Accessibility=" + stateText(permissions.accessibility()) +
                          "  InputMonitoring=" + stateText(permissions.inputMonitoring()));
    if (!permissions.screenRecording())
        log.log(category,
                "-> grant Screen Recording, then RELAUNCH (capture won't work without it)");
    if (!permissions.accessibility())
        log.log(category, "-> grant Accessibility, then RELAUNCH (flagsChanged/Option won't fire "
                          "without it)");
    if (!permissions.inputMonitoring())
        log.log(category, "-> grant Input Monitoring, then RELAUNCH (CGEventTap needs it)");
}

} // namespace lentora
