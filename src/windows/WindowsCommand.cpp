#include "windows/WindowsCommand.h"

#include "platform/posix/DesktopEntries.h"
#include "platform/posix/HomeFolders.h"
#include "platform/x11/IndependentLinuxApps.h"
#include "platform/x11/X11Pointer.h"
#include "platform/x11/X11WindowServices.h"
#include "windows/WindowsReport.h"

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <memory>
#include <string>

namespace lentora::windows {

namespace {

constexpr std::chrono::seconds patience{5};

int fail(const std::string& reason) {
    std::cerr << "lentora: windows: " << reason << '\n';
    return EXIT_FAILURE;
}

std::shared_ptr<const ShareableContent> contentOf(ShareableContentSource& source) {
    // Shared, since the answer may come after the waiting has ended.
    const auto answered = std::make_shared<std::promise<std::shared_ptr<const ShareableContent>>>();
    auto answer = answered->get_future();
    source.fetch({}, [answered](std::shared_ptr<const ShareableContent> content) {
        answered->set_value(std::move(content));
    });
    return answer.wait_for(patience) == std::future_status::ready ? answer.get() : nullptr;
}

} // namespace

int runWindowsCommand(const WindowsArguments& arguments) {
    std::string error;
    const auto desktop = x11::X11Desktop::open({}, error);
    if (!desktop)
        return fail(error);
    const auto pointer = x11::X11Pointer::open("", *desktop, error);
    if (!pointer)
        return fail(error);
    posix::DesktopEntries entries(posix::applicationFolders(posix::homeFolder()));
    x11::AppIdentities identities(entries);
    x11::X11ShareableContent source(*desktop, identities);
    const x11::X11WindowList windowList(*desktop, identities);
    const x11::X11Displays displays(*desktop);
    const x11::X11Applications applications(*desktop, identities);
    const x11::X11FocusedWindows focusedWindows(*desktop);
    const IndependentApps independentApps(x11::independentLinuxApps());

    const auto content = contentOf(source);
    const auto report = content ? makeReport({*content, windowList, displays, *pointer,
                                              applications, focusedWindows, independentApps})
                                : std::nullopt;
    if (!report)
        return fail("the X server does not answer");
    if (arguments.json)
        std::cout << asJson(*report).dump(2) << '\n';
    else
        std::cout << asText(*report);
    std::cout.flush();
    return std::cout ? EXIT_SUCCESS : fail("the list cannot be written");
}

} // namespace lentora::windows
