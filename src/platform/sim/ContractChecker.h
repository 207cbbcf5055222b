// Watches that the program keeps the contracts of the platform interfaces: that it calls on the
// thread an operation belongs to, and leaves nothing running.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lentora::sim {

/// The simulated desktop runs everything on one thread and tells the program's threads apart by
/// the role in which a piece of work runs. `service` is a thread of the simulated system's own, on
/// which it calls back; `samples` is the queue on which a capture stream's frames come.
enum class ThreadRole { main, tap, background, log, service, samples };

class ContractChecker {
public:
    ThreadRole currentRole() const { return role_; }

    /// Notes a violation when `operation` is not called in the role it belongs to.
    void requireRole(ThreadRole role, std::string_view operation);

    void noteViolation(std::string violation);

    /// In the order they were noticed. A test fails when there is one.
    const std::vector<std::string>& violations() const { return violations_; }

    /// Sets the current role for its own life.
    class RoleScope {
    public:
        RoleScope(ContractChecker& checker, ThreadRole role)
            : checker_(checker), before_(checker.role_) {
            checker_.role_ = role;
        }
        ~RoleScope() { checker_.role_ = before_; }
        RoleScope(const RoleScope&) = delete;
        RoleScope& operator=(const RoleScope&) = delete;

    private:
        ContractChecker& checker_;
        ThreadRole before_;
    };

private:
    ThreadRole role_ = ThreadRole::main;
    std::vector<std::string> violations_;
};

} // namespace lentora::sim
