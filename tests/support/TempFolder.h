// A folder of a test's own, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace lentora::test {

class TempFolder {
public:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "lentora-XXXXXX").string();
        path_ = ::mkdtemp(name.data()) != nullptr ? name : std::string();
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

} // namespace lentora::test
