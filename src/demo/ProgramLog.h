// What lentora writes into its log file while the demo runs.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace lentora::demo {

class ProgramLog {
public:
    explicit ProgramLog(std::string path) : path_(std::move(path)) {}

    /// Waits for a line with `text` behind the one that was found last. Throws as `await`.
    void awaitLine(const std::string& text);

private:
    const std::string path_;
    std::size_t read_ = 0;
};

} // namespace lentora::demo
