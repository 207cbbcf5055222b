#include "lens/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>
#include <ctime>
#include <thread>

namespace lentora::bench {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        result.push_back(const_cast<char*>(text.c_str()));
    result.push_back(nullptr);
    return result;
}

} // namespace

double processorSeconds(pid_t process) {
    clockid_t clock{};
    std::timespec time{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0)
        return 0;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::unique_ptr<Program> Program::start(const std::vector<std::string>& arguments,
                                        const std::map<std::string, std::string>& environment,
                                        const std::string& outputFile) {
    std::vector<std::string> variables;
    variables.reserve(environment.size());
    for (const auto& [name, value] : environment) {
        std::string& variable = variables.emplace_back(name);
        variable.append("=").append(value);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputFile.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = -1;
    const int failure = posix_spawn(&pid, arguments.front().c_str(), &actions, nullptr,
                                    pointers(arguments).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    return failure == 0 ? std::unique_ptr<Program>(new Program(pid)) : nullptr;
}

Program::~Program() {
    for (const int signal : {SIGTERM, SIGKILL}) {
        if (!running())
            return;
        kill(pid_, signal);
        endsWithin(std::chrono::seconds(2));
    }
}

bool Program::running() {
    return !endsWithin(std::chrono::milliseconds(0));
}

bool Program::endsWithin(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!ended_) {
        ended_ = waitpid(pid_, nullptr, WNOHANG) != 0;
        if (ended_ || std::chrono::steady_clock::now() >= end)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return ended_;
}

} // namespace lentora::bench
