#include "desktop/ChildProcess.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

namespace lentora::test {

namespace {

constexpr int patienceMs = 20'000;

std::vector<std::string>
environmentWith(const std::vector<std::pair<std::string, std::string>>& variables) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const bool replaced = std::ranges::any_of(
            variables, [&](const auto& v) { return text.starts_with(v.first + "="); });
        if (!replaced)
            environment.push_back(text);
    }
    for (const auto& [name, value] : variables) {
        if (!value.empty())
            environment.push_back(name + "=" + value);
    }
    return environment;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> out;
    for (std::string& text : texts)
        out.push_back(text.data());
    out.push_back(nullptr);
    return out;
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::pair<std::string, std::string>>& variables) {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    read_.reset(ends[0]);
    const posix::FileDescriptor write(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    // What the tests' own process ignores, a program has to ignore by itself.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &brokenPipe);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    auto program = arguments;
    auto environment = environmentWith(variables);
    EXPECT_EQ(::posix_spawn(&pid_, program[0].c_str(), &actions, &attributes,
                            pointers(program).data(), pointers(environment).data()),
              0);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
}

ChildProcess::~ChildProcess() {
    if (pid_ <= 0)
        return;
    ::kill(pid_, SIGKILL);
    wait();
}

bool ChildProcess::readMore() {
    pollfd source{read_.get(), POLLIN, 0};
    if (::poll(&source, 1, patienceMs) != 1)
        return false;
    std::array<char, 4096> buffer{};
    const ssize_t got = ::read(read_.get(), buffer.data(), buffer.size());
    if (got > 0)
        output_.append(buffer.data(), static_cast<std::size_t>(got));
    return got > 0;
}

bool ChildProcess::awaitOutput(const std::string& text) {
    while (output_.find(text) == std::string::npos) {
        if (!readMore())
            return false;
    }
    return true;
}

int ChildProcess::wait() {
    while (readMore()) {
    }
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace lentora::test
