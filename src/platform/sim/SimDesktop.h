// The simulated desktop: what is on it, and the platform interfaces that answer from it. A
// program built on it runs in virtual time and is the same on every machine.
#pragma once

#include "platform/Defaults.h"
#include "platform/Displays.h"
#include "platform/TextFiles.h"
#include "platform/UnifiedLog.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/SimEventTap.h"
#include "platform/sim/Timeline.h"
#include "support/Rect.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lentora::sim {

struct Window {
    std::uint32_t id = 0;
    int pid = 0;
    /// CG space: origin at the top-left corner of the primary display, y down.
    Rect bounds;
    int layer = 0;
    double alpha = 1;
    std::string owner = "?";
    std::optional<std::string> bundle;
    std::optional<std::string> title;
    std::optional<std::string> app;
    /// The capture service offers it; the window list has it.
    bool shareable = true;
    bool listed = true;
    /// "#rrggbb": what its pixels show.
    std::string color = "#808080";
};

struct Frontmost {
    int pid = 0;
    std::optional<std::uint32_t> focused;
};

/// How long the platform takes to answer, in seconds; `refresh` in Hz. A negative time for
/// shareable content or for a start means that the request fails after that long.
struct Timing {
    double shareableContent = 0.02;
    double startCapture = 0.03;
    double stopCapture = 0.005;
    double firstFrame = 0.016;
    double frameInterval = 1.0 / 60;
    double refresh = 60;
};

/// The state of the desktop; steps of a scenario change it.
struct DesktopState {
    /// The first is the primary display.
    std::vector<Screen> displays{Screen{}};
    /// Front-most first.
    std::vector<Window> windows;
    std::optional<Frontmost> frontmost;
    /// Cocoa space.
    Point pointer{960, 540};
    GrantedPermissions permissions;
    Timing timing;
};

class SimDefaults final : public Defaults {
public:
    std::optional<DefaultsValue> value(std::string_view key) const override;
    void setValue(std::string_view key, DefaultsValue value) override;

    const std::map<std::string, DefaultsValue, std::less<>>& all() const { return values_; }

private:
    std::map<std::string, DefaultsValue, std::less<>> values_;
};

/// Hands every record on.
class SimUnifiedLog final : public UnifiedLog {
public:
    void write(const LogRecord& record) override {
        if (onRecord)
            onRecord(record);
    }

    std::function<void(const LogRecord&)> onRecord;
};

/// Files in memory.
class SimTextFiles final : public TextFiles {
public:
    bool createDirectories(const std::string& path) override;
    bool remove(const std::string& path) override;
    bool rename(const std::string& from, const std::string& to) override;
    bool writeAtomically(const std::string& path, std::string_view text) override;
    bool appendToExisting(const std::string& path, std::string_view text) override;

    std::optional<std::string> content(const std::string& path) const;

    /// Every operation fails, as on a full or read-only disk.
    bool failing = false;

private:
    std::map<std::string, std::string> files_;
};

/// One simulated desktop with its services, which live as long as it does.
class SimDesktop {
public:
    SimDesktop();

    ContractChecker contracts;
    Timeline timeline;
    SimMainQueue mainQueue;
    SimBackgroundExecutor executor;
    SimLogQueue logQueue;
    SimUnifiedLog unifiedLog;
    SimDefaults defaults;
    DesktopState state;
    SimEventTap eventTap;

    /// Notes a violation for everything the program left running. For the end of a test, after
    /// the program has been told to stop.
    void checkNothingLeft();
};

} // namespace lentora::sim
