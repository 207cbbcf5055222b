// A program that a test starts, reads from, and signals.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace lentora::test {

class ChildProcess {
public:
    /// Starts `arguments[0]`. Variables are put into its environment; an empty value takes one out.
    ChildProcess(const std::vector<std::string>& arguments,
                 const std::vector<std::pair<std::string, std::string>>& variables);

    /// Kills it when it still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }

    /// Reads its output until `text` has occurred. False when the output ends, or when it takes
    /// too long.
    bool awaitOutput(const std::string& text);

    /// What it has printed so far, on both its outputs.
    const std::string& output() const { return output_; }

    /// Waits for its end. The exit code, or minus the signal that ended it.
    int wait();

private:
    bool readMore();

    pid_t pid_ = -1;
    posix::FileDescriptor read_;
    std::string output_;
};

} // namespace lentora::test
