#include "demo/ChildProgram.h"

#include "demo/Waiting.h"
#include "testdesktop/Executables.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

namespace lentora::demo {

namespace {

std::string lastLine(std::string text) {
    text.erase(text.find_last_not_of(" \n") + 1);
    return text.substr(text.find_last_of('\n') + 1);
}

std::string pathOf(const std::string& program) {
    const bool isPath = program.find('/') != std::string::npos;
    std::string path = isPath ? program : testdesktop::findExecutable(program);
    if (path.empty() || ::access(path.c_str(), X_OK) != 0)
        throw Failure("the program " + program + " is not installed");
    return path;
}

} // namespace

ChildProgram::ChildProgram(const std::vector<std::string>& arguments, std::string outputFile)
    : name_(std::filesystem::path(arguments.at(0)).filename().string()),
      outputFile_(std::move(outputFile)) {
    const std::string path = pathOf(arguments[0]);
    std::vector<std::string> words = arguments;
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, outputFile_.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    // A group of its own: Ctrl+C is for us, who then put things away in order. What we ignore is
    // not ignored there.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    const int error =
        ::posix_spawn(&pid_, path.c_str(), &files, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0)
        throw Failure("the program " + name_ + " cannot be started: " + std::strerror(error));
}

ChildProgram::~ChildProgram() {
    constexpr std::chrono::milliseconds step{10};
    constexpr int patience = 200;
    if (!hasEnded())
        ::kill(-pid_, SIGTERM);
    for (int i = 0; i < patience && !hasEnded(); ++i)
        std::this_thread::sleep_for(step);
    if (hasEnded())
        return;
    ::kill(-pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
}

bool ChildProgram::hasEnded() {
    // What has ended is waited for once; its number may belong to another process after that.
    if (pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == pid_)
        pid_ = -1;
    return pid_ < 0;
}

void ChildProgram::check() {
    if (!hasEnded())
        return;
    const std::string words = lastLine(output());
    throw Failure("the program " + name_ + " has ended" + (words.empty() ? "" : ": " + words));
}

std::string ChildProgram::output() const {
    std::ifstream file(outputFile_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace lentora::demo
