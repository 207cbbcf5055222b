// A program that runs beside the bench, and the processor time of a process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lentora::bench {

/// Seconds of processor time that a process has used so far; 0 where there is no such process.
double processorSeconds(pid_t process);

/// Ends with this object.
class Program {
public:
    /// Starts `arguments.front()`, an absolute path, with this environment alone and its words in
    /// a file. Null where it cannot be started.
    static std::unique_ptr<Program> start(const std::vector<std::string>& arguments,
                                          const std::map<std::string, std::string>& environment,
                                          const std::string& outputFile);

    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return pid_; }
    bool running();

private:
    explicit Program(pid_t pid) : pid_(pid) {}
    bool endsWithin(std::chrono::milliseconds limit);

    pid_t pid_;
    bool ended_ = false;
};

} // namespace lentora::bench
