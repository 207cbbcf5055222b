#pragma once

#include "platform/posix/FileDescriptor.h"

#include <memory>
#include <string>

namespace lentora::testdesktop {

/// The private folder (mode 0700) that holds everything one test desktop puts on disk.
///
/// The owner holds a lock on a file inside it for as long as the folder is in use. The kernel lets
/// go of that lock however the owner ends, so a folder whose lock is free belongs to nobody any
/// more and can be swept without trusting process numbers, which are reused.
class DesktopFolder {
public:
    /// Makes a new folder below `parent` (an absolute path, e.g. "/tmp") and locks it.
    /// Returns nothing and says why in `error` if that is impossible.
    static std::unique_ptr<DesktopFolder> create(const std::string& parent, std::string& error);

    /// Removes what dead owners of this user left below `parent`: their folders, and the display
    /// number each of them had claimed. Folders of living owners and of other users stay.
    /// Returns how many folders were removed.
    static int sweep(const std::string& parent);

    DesktopFolder(const DesktopFolder&) = delete;
    DesktopFolder& operator=(const DesktopFolder&) = delete;

    /// Removes the folder with all its content.
    ~DesktopFolder();

    const std::string& path() const { return path_; }

    /// The absolute path of a file of that name in the folder.
    std::string file(const std::string& name) const { return path_ + "/" + name; }

    /// Writes a file readable by this user alone. False if it could not be written.
    bool write(const std::string& name, const std::string& content) const;

private:
    DesktopFolder(std::string path, posix::FileDescriptor lock);

    std::string path_;
    posix::FileDescriptor lock_;
};

} // namespace lentora::testdesktop
