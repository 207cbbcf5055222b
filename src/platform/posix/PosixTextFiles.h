// Text files on the disk.
#pragma once

#include "platform/TextFiles.h"

namespace lentora::posix {

/// Files are made with mode 0600, the last folder of a path with 0700.
class PosixTextFiles final : public TextFiles {
public:
    bool createDirectories(const std::string& path) override;
    bool remove(const std::string& path) override;
    bool rename(const std::string& from, const std::string& to) override;
    bool writeAtomically(const std::string& path, std::string_view text) override;
    bool appendToExisting(const std::string& path, std::string_view text) override;
};

} // namespace lentora::posix
