// The few file operations the program needs for its log files.
#pragma once

#include <string>
#include <string_view>

namespace lentora {

/// Paths are absolute and UTF-8. Every operation may wait for the disk, so none belongs on a
/// thread that must answer quickly. Any thread; false means that it did not happen.
class TextFiles {
public:
    virtual ~TextFiles() = default;

    /// Creates the folder and the missing ones above it; the folder itself is readable by its
    /// owner alone. True when it exists afterwards.
    virtual bool createDirectories(const std::string& path) = 0;

    /// False when there was no such file.
    virtual bool remove(const std::string& path) = 0;

    /// Moves a file; a file at `to` is replaced.
    virtual bool rename(const std::string& from, const std::string& to) = 0;

    /// Puts `text` in place of the whole file in one step: a reader sees the old content or the
    /// new one. The file is readable by its owner alone.
    virtual bool writeAtomically(const std::string& path, std::string_view text) = 0;

    /// Opens the file, appends `text`, closes it. False, and no file is created, when there is
    /// none.
    virtual bool appendToExisting(const std::string& path, std::string_view text) = 0;
};

} // namespace lentora
