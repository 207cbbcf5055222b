#include "input/InputBackend.h"

#include <algorithm>
#include <array>

namespace lentora {

namespace {

constexpr std::array<std::string_view, 5> releaseReasonNames{"gateUp", "gestureEnded", "escKey",
                                                             "manual", "appSwitch"};
constexpr std::array<std::string_view, 3> backendKindNames{"tapSession", "tapHID", "nseventGlobal"};

} // namespace

std::string_view toString(ReleaseReason reason) {
    return releaseReasonNames[static_cast<std::size_t>(reason)];
}

std::string_view rawValue(BackendKind kind) {
    return backendKindNames[static_cast<std::size_t>(kind)];
}

std::optional<BackendKind> backendKindFromRawValue(std::string_view rawValue) {
    const auto* found = std::ranges::find(backendKindNames, rawValue);
    if (found == backendKindNames.end())
        return std::nullopt;
    return static_cast<BackendKind>(found - backendKindNames.begin());
}

} // namespace lentora
