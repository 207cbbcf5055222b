// A program that the demo starts and ends.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace lentora::demo {

class ChildProgram {
public:
    /// Starts the program `arguments[0]`, looked for on PATH, in this process's environment. What
    /// it prints goes to the file `outputFile`. Throws `Failure`.
    ChildProgram(const std::vector<std::string>& arguments, std::string outputFile);

    /// Asks it to end, and makes it when it does not.
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    const std::string& name() const { return name_; }
    pid_t pid() const { return pid_; }

    /// Throws `Failure`, with its last words, when it has ended by itself.
    void check();

    /// What it has printed so far.
    std::string output() const;

private:
    bool hasEnded();

    const std::string name_;
    const std::string outputFile_;
    pid_t pid_ = -1;
};

} // namespace lentora::demo
