// The simulated desktop: what is on it, and the platform interfaces that answer from it. A
// program built on it runs in virtual time and is the same on every machine.
#pragma once

#include "platform/Defaults.h"
#include "platform/TextFiles.h"
#include "platform/UnifiedLog.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/DesktopState.h"
#include "platform/sim/SimCaptureStreams.h"
#include "platform/sim/SimDisplayLinks.h"
#include "platform/sim/SimEventTap.h"
#include "platform/sim/SimPanels.h"
#include "platform/sim/SimScreenshots.h"
#include "platform/sim/SimShareableContent.h"
#include "platform/sim/SimWindows.h"
#include "platform/sim/TextLayout.h"
#include "platform/sim/Timeline.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace lentora::sim {

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
    SimDisplays displays{state};
    SimPointer pointer{state};
    SimWindowList windowList{contracts, state};
    SimApplications applications{state};
    SimFocusedWindows focusedWindows{contracts, state};
    SimPermissions permissions{contracts, state};
    SimShareableContent shareableContent{contracts, timeline, state};
    SimCaptureStreams captureStreams{contracts, timeline, state};
    SimScreenshots screenshots{timeline, state};
    SimPanels panels{contracts};
    SimDisplayLinks displayLinks{contracts, timeline, state};
    SimTextMeasurer textMeasurer;

    /// Notes a violation for everything the program left running. For the end of a test, after
    /// the program has been told to stop.
    void checkNothingLeft();
};

} // namespace lentora::sim
