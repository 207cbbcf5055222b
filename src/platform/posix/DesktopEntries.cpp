#include "platform/posix/DesktopEntries.h"

#include "support/Text.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace lentora::posix {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view suffix = ".desktop";

// Far more than there ever are, should a folder lead astray.
constexpr std::size_t mostEntries = 10'000;
constexpr std::uintmax_t largestFile = std::uintmax_t{1} << 20;

std::string contentOf(const fs::path& file) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    if (error || size > largestFile)
        return {};
    std::ifstream stream(file, std::ios::binary);
    std::string content(static_cast<std::size_t>(size), '\0');
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return content;
}

std::vector<std::string> listOf(std::string_view value) {
    std::vector<std::string> items;
    while (!value.empty()) {
        const std::size_t end = std::min(value.find(';'), value.size());
        if (end > 0)
            items.emplace_back(value.substr(0, end));
        value.remove_prefix(std::min(end + 1, value.size()));
    }
    return items;
}

} // namespace

std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text) {
    DesktopEntry entry{.id = std::move(id)};
    bool inEntry = false;
    bool isApplication = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text::trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.starts_with('[')) {
            inEntry = line == "[Desktop Entry]";
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!inEntry || line.starts_with('#') || equals == std::string_view::npos)
            continue;
        const std::string_view key = text::trimmed(line.substr(0, equals));
        const std::string_view value = text::trimmed(line.substr(equals + 1));
        if (key == "Type")
            isApplication = value == "Application";
        else if (key == "Name")
            entry.name = text::printable(value);
        else if (key == "StartupWMClass")
            entry.startupWmClass = value;
        else if (key == "Categories")
            entry.categories = listOf(value);
    }
    return isApplication ? std::optional(std::move(entry)) : std::nullopt;
}

std::uint64_t DesktopEntries::refresh() {
    const std::lock_guard lock(mutex_);
    if (auto times = folderTimes(); timesRead_ == 0 || times != times_) {
        times_ = std::move(times);
        read();
    }
    return timesRead_;
}

std::optional<DesktopEntry> DesktopEntries::forWindowClass(const std::string& instanceName,
                                                           const std::string& className) const {
    const std::lock_guard lock(mutex_);
    for (const auto* const index : {&byWmClass_, &byId_, &byLastPart_}) {
        for (const std::string& name : {className, instanceName}) {
            if (const DesktopEntry* const entry = entryWith(*index, text::asciiLowerCased(name)))
                return *entry;
        }
    }
    return std::nullopt;
}

const DesktopEntry* DesktopEntries::entryWith(const std::map<std::string, std::size_t>& index,
                                              const std::string& name) const {
    const auto found = index.find(name);
    return name.empty() || found == index.end() ? nullptr : &entries_[found->second];
}

std::vector<DesktopEntries::Time> DesktopEntries::folderTimes() const {
    std::vector<Time> times;
    for (const std::string& folder : folders_) {
        std::error_code missing;
        times.push_back(fs::last_write_time(folder, missing));
    }
    return times;
}

void DesktopEntries::read() {
    ++timesRead_;
    entries_.clear();
    byWmClass_.clear();
    byId_.clear();
    byLastPart_.clear();
    for (const std::string& folder : folders_)
        readFolder(folder);
}

void DesktopEntries::readFolder(const fs::path& folder) {
    std::error_code error;
    fs::recursive_directory_iterator files(folder, fs::directory_options::skip_permission_denied,
                                           error);
    for (; !error && files != fs::recursive_directory_iterator(); files.increment(error)) {
        const fs::path& file = files->path();
        std::error_code notAFile;
        if (file.extension() != suffix || !files->is_regular_file(notAFile) ||
            entries_.size() >= mostEntries)
            continue;
        std::string id = file.lexically_relative(folder).generic_string();
        id.resize(id.size() - suffix.size());
        std::ranges::replace(id, '/', '-');
        auto entry = parseDesktopEntry(id, contentOf(file));
        // Several entries may claim a class; the first of them has it.
        if (!entry || !byId_.try_emplace(text::asciiLowerCased(id), entries_.size()).second)
            continue;
        byWmClass_.try_emplace(text::asciiLowerCased(entry->startupWmClass), entries_.size());
        byLastPart_.try_emplace(text::asciiLowerCased(id.substr(id.rfind('.') + 1)),
                                entries_.size());
        entries_.push_back(std::move(*entry));
    }
}

} // namespace lentora::posix
