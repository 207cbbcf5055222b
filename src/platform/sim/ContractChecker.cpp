#include "platform/sim/ContractChecker.h"

#include <utility>

namespace lentora::sim {

namespace {

const char* name(ThreadRole role) {
    switch (role) {
    case ThreadRole::main:
        return "main";
    case ThreadRole::tap:
        return "tap";
    case ThreadRole::background:
        return "background";
    case ThreadRole::log:
        return "log";
    case ThreadRole::service:
        return "service";
    case ThreadRole::samples:
        return "samples";
    }
    return "?";
}

} // namespace

void ContractChecker::requireRole(ThreadRole role, std::string_view operation) {
    if (role_ == role)
        return;
    noteViolation(std::string(operation) + " called on the " + name(role_) +
                  " thread, belongs to the " + name(role) + " thread");
}

void ContractChecker::noteViolation(std::string violation) {
    violations_.push_back(std::move(violation));
}

} // namespace lentora::sim
