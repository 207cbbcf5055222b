// What a thread of this process has used, as the kernel counts it.
#pragma once

#include <gtest/gtest.h>

#include <poll.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

namespace lentora::test {

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

    /// How often it has gone to sleep or was interrupted: no more than before means that it did
    /// nothing at all.
    long long wakeUps() const {
        std::ifstream status(task_ / "status");
        long long sum = 0;
        for (std::string line; std::getline(status, line);) {
            const std::size_t colon = line.find("_ctxt_switches:");
            if (colon != std::string::npos)
                sum += std::stoll(line.substr(line.find(':') + 1));
        }
        return sum;
    }

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
