// Applications whose windows are documents of their own, such as browsers and terminals. The
// windows of any other application are parts of one thing: a palette beside its document.
#pragma once

#include <array>
#include <set>
#include <span>
#include <string>
#include <string_view>

namespace lentora {

/// Those that are known on every platform, by the identifiers of their bundles.
inline constexpr std::array<std::string_view, 11> independentWindowApps{
    "com.apple.Terminal",         "com.googlecode.iterm2", "com.apple.Safari",
    "com.google.Chrome",          "com.microsoft.edgemac", "org.mozilla.firefox",
    "company.thebrowser.Browser", "com.brave.Browser",     "com.vivaldi.Vivaldi",
    "com.operasoftware.Opera",    "com.apple.finder",
};

/// Does not change.
class IndependentApps {
public:
    /// `independentWindowApps`, and those that a platform adds.
    explicit IndependentApps(std::span<const std::string_view> ofPlatform = {}) {
        identifiers_.insert(independentWindowApps.begin(), independentWindowApps.end());
        identifiers_.insert(ofPlatform.begin(), ofPlatform.end());
    }

    bool contains(std::string_view identifier) const { return identifiers_.contains(identifier); }

private:
    std::set<std::string, std::less<>> identifiers_;
};

} // namespace lentora
