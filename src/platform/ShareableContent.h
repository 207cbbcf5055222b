// What the system's capture service offers: the windows and displays whose pixels may be read.
#pragma once

#include "support/Rect.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lentora {

struct ShareableApplication {
    int pid = 0;
    std::string name;

    bool operator==(const ShareableApplication&) const = default;
};

struct ShareableWindow {
    std::uint32_t windowID = 0;
    /// Tells this window from an earlier or later one that was given the same number.
    std::uint64_t generation = 0;
    /// CG space.
    Rect frame;
    std::optional<std::string> title;
    std::optional<ShareableApplication> owningApplication;

    bool operator==(const ShareableWindow&) const = default;
};

struct ShareableDisplay {
    std::uint32_t displayID = 0;
    /// CG space.
    Rect frame;

    bool operator==(const ShareableDisplay&) const = default;
};

/// A snapshot. It does not change.
struct ShareableContent {
    std::vector<ShareableWindow> windows;
    std::vector<ShareableDisplay> displays;
    std::vector<ShareableApplication> applications;
};

class ShareableContentSource {
public:
    /// Gets the snapshot, or null when the service refuses or fails.
    using Answer = std::function<void(std::shared_ptr<const ShareableContent>)>;

    virtual ~ShareableContentSource() = default;

    struct Request {
        bool excludingDesktopWindows = true;
        bool onScreenWindowsOnly = true;
    };

    /// Asks for a snapshot of how things are now. Any thread. `answer` is called once, on a thread
    /// of the service's; it is dropped uncalled when the service ends first.
    virtual void fetch(Request request, Answer answer) = 0;
};

} // namespace lentora
