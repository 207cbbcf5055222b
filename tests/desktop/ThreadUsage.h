// What a thread of this process has used, as the kernel counts it.
#pragma once

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

namespace lentora::test {

/// How often a thread, by its folder of /proc, has gone to sleep or was interrupted: no more than
/// before means that it did nothing at all.
inline long long wakeUpsOfTask(const std::filesystem::path& task) {
    std::ifstream status(task / "status");
    long long sum = 0;
    for (std::string line; std::getline(status, line);) {
        const std::size_t colon = line.find("_ctxt_switches:");
        if (colon != std::string::npos)
            sum += std::stoll(line.substr(line.find(':') + 1));
    }
    return sum;
}

/// Of all threads of a process that are there now.
inline long long wakeUpsOf(pid_t process) {
    long long sum = 0;
    const std::filesystem::path tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks))
        sum += wakeUpsOfTask(task.path());
    return sum;
}

class ThreadUsage {
public:
    /// The thread with this name, of which there is one.
    explicit ThreadUsage(const std::string& name) {
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string found;
            std::getline(std::ifstream(task.path() / "comm"), found);
            if (found == name)
                task_ = task.path();
        }
        EXPECT_FALSE(task_.empty()) << "no thread " << name;
    }

    std::chrono::nanoseconds cpuTime() const {
        long long nanoseconds = 0;
        std::ifstream(task_ / "schedstat") >> nanoseconds;
        return std::chrono::nanoseconds(nanoseconds);
    }

    /// How often it has gone to sleep or was interrupted.
    long long wakeUps() const { return wakeUpsOfTask(task_); }

    /// Waits until it has slept through a tenth of a second. False when it never does.
    bool awaitSleep() const {
        constexpr int tries = 100;
        constexpr int pauseMs = 100;
        for (int i = 0; i < tries; ++i) {
            const long long before = wakeUps();
            ::poll(nullptr, 0, pauseMs);
            if (wakeUps() == before)
                return true;
        }
        return false;
    }

private:
    std::filesystem::path task_;
};

} // namespace lentora::test
