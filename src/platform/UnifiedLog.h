// The log that the whole system shares: the journal on Linux.
#pragma once

#include <string>

namespace lentora {

/// One line of the log with its two parts told apart.
struct LogRecord {
    std::string category;
    std::string message;
    /// The whole line as the log file has it: "[HH:mm:ss.SSS] [category] message".
    std::string line;
};

class UnifiedLog {
public:
    virtual ~UnifiedLog() = default;

    /// Called on the log's own queue, in the order of the lines. Failures are not reported.
    virtual void write(const LogRecord& record) = 0;
};

} // namespace lentora
