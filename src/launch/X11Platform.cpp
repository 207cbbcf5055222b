#include "launch/X11Platform.h"

#include "platform/posix/HomeFolders.h"

#include <utility>

namespace lentora::launch {

std::unique_ptr<X11Platform> X11Platform::open(X11PlatformOptions options, std::string& error) {
    Found found;
    found.desktop = x11::X11Desktop::open({}, error);
    if (!found.desktop)
        return nullptr;
    found.pointer = x11::X11Pointer::open("", *found.desktop, error);
    if (!found.pointer)
        return nullptr;
    std::unique_ptr<X11Platform> opened(new X11Platform(std::move(options), std::move(found)));
    return opened->openPanels(error) ? std::move(opened) : nullptr;
}

X11Platform::X11Platform(X11PlatformOptions options, Found found)
    : options_(std::move(options)),
      log({files, logQueue, systemLog, wallClock, mainQueue}, options_.logFolder),
      desktopEntries(posix::applicationFolders(posix::homeFolder())),
      desktop(std::move(found.desktop)), pointer(std::move(found.pointer)),
      captureStreams(captureOptions()), screenshots(captureOptions(), executor),
      eventTap({.wheelZoom = options_.wheelZoom,
                .started =
                    [this](bool installed) {
                        mainQueue.post([this, installed] { options_.tapStarted(installed); });
                    },
                .serverLost = [this] { lose(); }},
               log) {}

bool X11Platform::openPanels(std::string& error) {
    const auto layout = [this] { return desktop->last()->layout; };
    panels = x11::X11Panels::open({.layout = layout, .serverLost = [this] { lose(); }},
                                  {mediaClock, mainQueue, watches, textRenderer}, error);
    if (!panels)
        return false;
    displayLinks =
        x11::X11DisplayLinks::open({.layout = layout}, {mediaClock, mainQueue, watches}, error);
    return displayLinks != nullptr;
}

x11::X11CaptureStreamsOptions X11Platform::captureOptions() {
    return {.space = [this] { return desktop->last()->layout.space; },
            .generationOf = [this](std::uint32_t window) { return desktop->generationOf(window); }};
}

void X11Platform::lose() {
    mainQueue.post([this] { options_.serverLost(); });
}

} // namespace lentora::launch
