// The applications that are installed, by their desktop files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lentora::posix {

struct DesktopEntry {
    /// The file's name without ".desktop", with "-" for folders: "org.gnome.Nautilus".
    std::string id = {};
    /// As it stands in the file, in no special language.
    std::string name = {};
    std::string startupWmClass = {};
    std::vector<std::string> categories = {};

    bool operator==(const DesktopEntry&) const = default;
};

/// The entry in a desktop file's text; nothing when that holds no application.
std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text);

/// Any thread.
class DesktopEntries {
public:
    /// Folders of applications; an entry in an earlier one hides the same in later ones.
    explicit DesktopEntries(std::vector<std::string> folders) : folders_(std::move(folders)) {}

    /// Reads the folders the first time, and again when they have changed since. Waits for the
    /// disk. How often they have been read: what was asked before the number grew may be outdated.
    std::uint64_t refresh();

    /// The application whose windows have this WM_CLASS: by what the files say of it, else by
    /// their names.
    std::optional<DesktopEntry> forWindowClass(const std::string& instanceName,
                                               const std::string& className) const;

private:
    using Time = std::filesystem::file_time_type;

    std::vector<Time> folderTimes() const;
    void read();
    void readFolder(const std::filesystem::path& folder);
    const DesktopEntry* entryWith(const std::map<std::string, std::size_t>& index,
                                  const std::string& name) const;

    const std::vector<std::string> folders_;
    mutable std::mutex mutex_;
    std::uint64_t timesRead_ = 0;
    std::vector<Time> times_;
    std::vector<DesktopEntry> entries_;
    // In lower case.
    std::map<std::string, std::size_t> byWmClass_;
    std::map<std::string, std::size_t> byId_;
    std::map<std::string, std::size_t> byLastPart_;
};

} // namespace lentora::posix
