#include "platform/x11/AppIdentities.h"

#include "support/Text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace lentora::x11 {

namespace {

// Programs may make up classes without end.
constexpr std::size_t mostKnown = 4096;

struct Browser {
    /// In lower case; what follows it in a class is a version or a channel.
    std::string_view name;
    std::string_view identifier;
};

constexpr std::array<Browser, 15> browsers{{
    {"firefox", "org.mozilla.firefox"},
    {"navigator", "org.mozilla.firefox"},
    {"org.mozilla.firefox", "org.mozilla.firefox"},
    {"nightly", "org.mozilla.firefox"},
    {"google-chrome", "com.google.Chrome"},
    {"com.google.chrome", "com.google.Chrome"},
    {"microsoft-edge", "com.microsoft.edgemac"},
    {"msedge", "com.microsoft.edgemac"},
    {"com.microsoft.edge", "com.microsoft.edgemac"},
    {"brave-browser", "com.brave.Browser"},
    {"com.brave.browser", "com.brave.Browser"},
    {"vivaldi", "com.vivaldi.Vivaldi"},
    {"com.vivaldi.vivaldi", "com.vivaldi.Vivaldi"},
    {"opera", "com.operasoftware.Opera"},
    {"com.opera.opera", "com.operasoftware.Opera"},
}};

struct Kind {
    std::string_view category;
    std::string_view identifier;
};

// By the categories of desktop files.
constexpr std::array<Kind, 3> kinds{{
    {"TerminalEmulator", "com.apple.Terminal"},
    {"FileManager", "com.apple.finder"},
    {"WebBrowser", "com.apple.Safari"},
}};

// "firefox", "firefox-esr" and "firefox_beta", and not "firefoxy".
bool isNamed(const std::string& lowerName, std::string_view browser) {
    if (!lowerName.starts_with(browser))
        return false;
    constexpr std::string_view separators = "-_. ";
    return lowerName.size() == browser.size() ||
           separators.find(lowerName[browser.size()]) != std::string_view::npos;
}

std::optional<std::string> browserNamed(const std::string& className) {
    const std::string name = text::asciiLowerCased(className);
    for (const Browser& browser : browsers) {
        if (isNamed(name, browser.name))
            return std::string(browser.identifier);
    }
    return std::nullopt;
}

std::optional<std::string> kindOf(const posix::DesktopEntry& entry) {
    for (const Kind& kind : kinds) {
        if (std::ranges::find(entry.categories, kind.category) != entry.categories.end())
            return std::string(kind.identifier);
    }
    return std::nullopt;
}

std::string identifierOf(const std::string& instanceName, const std::string& className,
                         const std::optional<posix::DesktopEntry>& entry) {
    // The class is the application; the instance is one of its windows, and anybody's choice.
    if (const auto browser = browserNamed(className.empty() ? instanceName : className))
        return *browser;
    if (entry)
        return kindOf(*entry).value_or(entry->id);
    return text::asciiLowerCased(className.empty() ? instanceName : className);
}

} // namespace

void AppIdentities::refresh() {
    const std::uint64_t read = entries_.refresh();
    const std::lock_guard lock(mutex_);
    if (read != entriesRead_ || known_.size() > mostKnown)
        known_.clear();
    entriesRead_ = read;
}

AppIdentity AppIdentities::of(const std::string& instanceName, const std::string& className) {
    const std::lock_guard lock(mutex_);
    const auto [at, isNew] = known_.try_emplace({instanceName, className});
    AppIdentity& identity = at->second;
    if (isNew) {
        const auto entry = entries_.forWindowClass(instanceName, className);
        identity.identifier = identifierOf(instanceName, className, entry);
        identity.isKnown = entry || browserNamed(className.empty() ? instanceName : className);
        identity.name = entry ? entry->name : className.empty() ? instanceName : className;
    }
    return identity;
}

} // namespace lentora::x11
