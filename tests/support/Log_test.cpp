#include "platform/posix/HomeFolders.h"
#include "platform/posix/PosixTextFiles.h"
#include "platform/posix/ThreadQueues.h"
#include "platform/sim/SimDesktop.h"
#include "support/Log.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

namespace lentora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LogTest : public testing::Test {
protected:
    std::unique_ptr<Log> launch(const std::string& directory = "/home/Library/Logs/Lentora") {
        return std::make_unique<Log>(Log::Services{files, desktop.logQueue, desktop.unifiedLog,
                                                   desktop.timeline, desktop.mainQueue},
                                     directory);
    }

    sim::SimDesktop desktop;
    sim::SimTextFiles files;
};

TEST_F(LogTest, EachLaunchKeepsTheFileOfTheOneBefore) {
    auto log = launch();
    EXPECT_EQ(log->filePath(), "/home/Library/Logs/Lentora/spike.log");
    EXPECT_EQ(files.content(log->filePath()),
              "===== Lentora spike log — launch 00:00:00.000 =====\n");
    EXPECT_EQ(files.content(log->previousFilePath()), std::nullopt);
    log->log("app", "first");

    desktop.timeline.advanceTo(3723.0456);
    log = launch();
    EXPECT_EQ(files.content(log->filePath()),
              "===== Lentora spike log — launch 01:02:03.045 =====\n");
    EXPECT_EQ(files.content(log->previousFilePath()),
              "===== Lentora spike log — launch 00:00:00.000 =====\n[00:00:00.000] [app] first\n");

    log = launch();
    EXPECT_EQ(files.content(log->previousFilePath()),
              "===== Lentora spike log — launch 01:02:03.045 =====\n");
}

TEST_F(LogTest, ALineReachesTheFileTheSystemTheRingAndTheSubscriber) {
    const auto log = launch();
    std::vector<std::string> system;
    desktop.unifiedLog.onRecord = [&](const LogRecord& record) { system.push_back(record.line); };
    std::vector<std::string> shown;
    log->log("app", "before");
    desktop.timeline.settle();
    log->setOnLine([&](const std::string& line) {
        EXPECT_EQ(desktop.contracts.currentRole(), sim::ThreadRole::main);
        EXPECT_EQ(log->snapshot().back(), line);
        shown.push_back(line);
    });
    desktop.timeline.advanceTo(86399.9999);
    log->log("zoom", "two\nlines, %s");
    EXPECT_THAT(shown, IsEmpty());
    desktop.timeline.settle();
    const std::string line = "[23:59:59.999] [zoom] two\nlines, %s";
    EXPECT_THAT(shown, ElementsAre(line));
    EXPECT_THAT(system, ElementsAre("[00:00:00.000] [app] before", line));
    EXPECT_THAT(log->snapshot(), ElementsAre("[00:00:00.000] [app] before", line));
    EXPECT_TRUE(files.content(log->filePath())->ends_with("] [app] before\n" + line + "\n"));
}

TEST_F(LogTest, TheRingKeepsTheLastFiveHundredLines) {
    const auto log = launch();
    for (int i = 1; i <= 500; ++i)
        log->log("app", std::to_string(i));
    EXPECT_EQ(log->snapshot().front(), "[00:00:00.000] [app] 1");
    log->log("app", "501");
    EXPECT_EQ(log->snapshot().size(), 500U);
    EXPECT_EQ(log->snapshot().front(), "[00:00:00.000] [app] 2");
    EXPECT_EQ(log->snapshot().back(), "[00:00:00.000] [app] 501");
}

TEST_F(LogTest, AFileThatVanishesOrCannotBeMadeCostsTheFileOnly) {
    auto log = launch();
    files.remove(log->filePath());
    log->log("app", "gone");
    EXPECT_EQ(files.content(log->filePath()), std::nullopt);
    EXPECT_EQ(log->snapshot().size(), 1U);

    files.failing = true;
    log = launch();
    log->log("app", "read-only");
    EXPECT_EQ(log->snapshot().size(), 1U);
}

TEST_F(LogTest, ASubscriberMayReplaceItselfAndALateLineOutliveTheLog) {
    auto log = launch();
    int calls = 0;
    log->setOnLine([&](const std::string&) {
        ++calls;
        log->setOnLine(nullptr);
    });
    log->log("app", "one");
    log->log("app", "two");
    desktop.timeline.settle();
    EXPECT_EQ(calls, 1);
    log->log("app", "three");
    log.reset();
    desktop.timeline.settle();
}

std::string content(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The same on a real disk and a real queue.
TEST(LogOnDisk, FilesAreTheOwnersAloneAndLinesOfManyThreadsStayWhole) {
    const TempFolder home;
    const std::string folder = home.path() + "/Library/Logs/Lentora";
    posix::PosixTextFiles files;
    sim::SimDesktop desktop;
    constexpr int threadCount = 4;
    constexpr int linesPerThread = 200;
    // The simulated main queue belongs to one thread: here it is called on the log's alone.
    {
        posix::ThreadSerialQueue queue("lentora.log");
        Log log({files, queue, desktop.unifiedLog, desktop.timeline, desktop.mainQueue}, folder);
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back([&log, t] {
                for (int i = 0; i < linesPerThread; ++i)
                    log.log("t" + std::to_string(t), std::to_string(i));
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(log.snapshot().size(), Log::ringMax);
    }
    struct stat status {};
    ASSERT_EQ(::stat((folder + "/spike.log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    ASSERT_EQ(::stat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);

    std::istringstream lines(content(folder + "/spike.log"));
    std::string line;
    std::getline(lines, line);
    std::vector<int> next(threadCount, 0);
    while (std::getline(lines, line)) {
        ASSERT_EQ(line.substr(0, 17), "[00:00:00.000] [t");
        const auto thread = static_cast<std::size_t>(line[17] - '0');
        EXPECT_EQ(line.substr(20), std::to_string(next.at(thread)++));
    }
    EXPECT_THAT(next, testing::Each(linesPerThread));
}

TEST(LogFolder, FollowsTheStateFolderOfTheDesktop) {
    const char* before = std::getenv("XDG_STATE_HOME");
    const std::string saved = before != nullptr ? before : "";
    ::setenv("XDG_STATE_HOME", "/var/state", 1);
    EXPECT_EQ(posix::logFolder("/home/u"), "/var/state/Lentora");
    ::setenv("XDG_STATE_HOME", "relative", 1);
    EXPECT_EQ(posix::logFolder("/home/u"), "/home/u/Library/Logs/Lentora");
    ::unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(posix::logFolder("/home/u"), "/home/u/Library/Logs/Lentora");
    if (before != nullptr)
        ::setenv("XDG_STATE_HOME", saved.c_str(), 1);
}

} // namespace
} // namespace lentora::test
