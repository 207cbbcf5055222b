// What the simulated desktop tells of its displays, pointer, windows, applications and grants.
#pragma once

#include "platform/Applications.h"
#include "platform/Displays.h"
#include "platform/Permissions.h"
#include "platform/WindowList.h"
#include "platform/sim/ContractChecker.h"
#include "platform/sim/DesktopState.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lentora::sim {

class SimDisplays final : public Displays {
public:
    explicit SimDisplays(const DesktopState& state) : state_(state) {}

    std::vector<Screen> screens() const override { return state_.displays; }
    /// Where the centre of the focused window is.
    std::optional<Screen> mainScreen() const override;

private:
    const DesktopState& state_;
};

class SimPointer final : public Pointer {
public:
    explicit SimPointer(const DesktopState& state) : state_(state) {}

    Point location() const override { return state_.pointer; }

private:
    const DesktopState& state_;
};

class SimWindowList final : public WindowList {
public:
    SimWindowList(ContractChecker& contracts, const DesktopState& state)
        : contracts_(contracts), state_(state) {}

    std::optional<std::vector<WindowListEntry>> onScreenWindows() const override;

private:
    ContractChecker& contracts_;
    const DesktopState& state_;
};

class SimApplications final : public Applications {
public:
    /// The program itself, as scenarios know it.
    static constexpr int programPid = 0;

    explicit SimApplications(const DesktopState& state) : state_(state) {}

    int ownPid() const override { return programPid; }
    std::optional<int> frontmostPid() const override;
    /// What the front-most of its windows that has one says.
    std::optional<std::string> bundleIdentifier(int pid) const override;

private:
    const DesktopState& state_;
};

/// Tells nothing without the grant, and of the frontmost application only.
class SimFocusedWindows final : public FocusedWindows {
public:
    SimFocusedWindows(ContractChecker& contracts, const DesktopState& state)
        : contracts_(contracts), state_(state) {}

    std::optional<std::uint32_t> focusedWindow(int pid) const override;

private:
    ContractChecker& contracts_;
    const DesktopState& state_;
};

class SimPermissions final : public Permissions {
public:
    SimPermissions(ContractChecker& contracts, const DesktopState& state)
        : contracts_(contracts), state_(state) {}

    bool screenRecording() const override { return granted().screenRecording; }
    bool accessibility() const override { return granted().accessibility; }
    bool inputMonitoring() const override { return granted().inputMonitoring; }

private:
    const GrantedPermissions& granted() const;

    ContractChecker& contracts_;
    const DesktopState& state_;
};

} // namespace lentora::sim
